// Start-up and tear-down of the library in a daemon: one pair of calls in a process.
//
// Both run shell commands, block as long as those do, and are cancellation points. Not for signal handlers.
#ifndef KT_FRAME_LIBRARY_H
#define KT_FRAME_LIBRARY_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Brings the library's services up, in the main thread before there are others: fills the product record,
// installs the handlers of fatal signals, initialises gThreadDataLock and, unless another process of the same
// name runs, starts the debug port with the daemon's command table `commands` (CmdEntry*, which must outlive
// the process's use of it; may be null). A daemon with a name of its own calls setProcessName before. On a
// unit without a readable mfg.conf a reboot is asked for.
// Returns the result of creating the debug port's thread, after a pause of 300 ms in which it comes up
//     0      created; or, at once and without a debug port, another process of the same name runs: then
//            g_threadIdDebugListener is 0
//     other  error number of pthread_create; everything but the debug port is in force
KT_API int libraryInit(void* commands);

// Takes them down, once the daemon's other threads use no thread-unique data any more: sets
// g_cleanExitRequest, shuts the debug port's socket down and waits for its thread (for as long as a command
// runs there; not if the caller is that thread, or that is at the "exit" command and so ends the process), drains the messages, destroys gThreadDataLock and writes "%s exit\n" with the process name as a
// debug line. May stand in an exit handler. A second call does nothing.
// Returns 0.
KT_API int libraryDeinit(void);

#ifdef __cplusplus
}
#endif

#endif
