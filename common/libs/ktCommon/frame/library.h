// Start-up and tear-down of the library in a daemon: one pair of calls in a process.
//
// Both run shell commands and block as long as those do. errno is not kept. Not for signal handlers.
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
// unit without a readable mfg.conf a reboot is asked for: never on a workstation. A cancellation point.
// Returns the result of creating the debug port's thread, after a pause of 300 ms in which it comes up
//     0      created; or, at once and without a debug port, another process of the same name runs: then
//            g_threadIdDebugListener is 0
//     other  error number of pthread_create; everything but the debug port is in force
KT_API int libraryInit(void* commands);

// Takes them down, once the daemon's other threads use no thread-unique data any more: sets
// g_cleanExitRequest, shuts the debug port's socket down and waits for its thread, for as long as a command
// runs there; drains the messages, destroys gThreadDataLock and writes "%s exit\n" with the process name as a
// debug line. No cancellation point.
//
// It may stand in an exit handler, and be called by any thread. Of several calls the first one works and the
// others wait for it. The port's own thread is not waited for when it calls, or ends the process by the
// command "exit", meanwhile; "exit" does nothing more once the tear-down has begun. A forked child is none of
// its parent's: there it does nothing. Without libraryInit it does the rest.
// Returns 0.
KT_API int libraryDeinit(void);

#ifdef __cplusplus
}
#endif

#endif
