// The end of the debug port, for the one who tears the library down.
#ifndef KT_INTERNAL_SERVER_END_H
#define KT_INTERNAL_SERVER_END_H

#include <pthread.h>

#include "internal/private.h"

namespace kt {

// Whether that is the port's thread, from its first step to its last.
bool isServerThread(pthread_t thread);

// Tells who waits in awaitServerEnd that this thread, the port's, will not come to its end: it tears down
// itself, or ends the process, where it may have to wait for the exit handlers that another thread is
// running.
void leaveServer();

// Shuts down the port's socket if there is one yet. It is never another one of the same number.
void shutDownServer();

// Waits until the port's thread is at its end. False if that has left instead, and is not to be joined.
bool awaitServerEnd();

}  // namespace kt

#endif
