// The end of the debug port's thread, for the one who tears the library down.
#ifndef KT_INTERNAL_SERVER_END_H
#define KT_INTERNAL_SERVER_END_H

#include "internal/private.h"

namespace kt {

// Waits until the thread is at its end. False if it never comes there because it ends the process, at a
// client's request: it calls exit, where it may have to wait for the exit handlers that another thread runs,
// the caller perhaps. For one caller.
bool awaitServerEnd();

}  // namespace kt

#endif
