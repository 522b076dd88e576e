// Shell commands run for their exit code, in this process or by the gateway's command daemon.
//
// The command line is a printf format with its arguments; what they give goes to /bin/sh as it is. Nothing is
// quoted or escaped, so pass only trusted text. The command's output goes where the process's own goes; it
// inherits the descriptors that are not close-on-exec.
//
// Every function may run in any thread and blocks until its command has ended, without a limit. All are
// cancellation points; a cancelled one leaves no lock, descriptor or memory behind. A child that is forked
// while another thread runs a command should exec: the lock stays taken there. errno is not kept. Not for
// signal handlers.
#ifndef KT_SYS_SHELL_H
#define KT_SYS_SHELL_H

#include <pthread.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Held by systemEx and systemExec from before the command line is built until the command has ended, so one
// such command runs at a time in a process; the second is held by tsSystemEx for a whole exchange. A program
// may hold them to keep commands back.
extern KT_API pthread_mutex_t mutexSystemEx;
extern KT_API pthread_mutex_t mutexTsSystemEx;

// Runs the command by system(3), and writes "systemEx: %d.%d.[%s]\n" with the wait status, the result and the
// command line as a debug line. format is not null. Meanwhile the process ignores SIGINT and SIGQUIT. A
// thread that is cancelled kills its shell; what that has started runs on. systemExec is another name for it.
// Returns the command's wait status shifted right by 8 bits:
//     0 to 255  its exit code; 127 also when no process could be made for the shell or it cannot be executed,
//               0 also when a signal ended it
//     -1        no memory for the command line; or the status is lost although the command runs, as always
//               while the process ignores SIGCHLD (or has SA_NOCLDWAIT), and when another thread that waits
//               for any child takes this one
KT_API int systemEx(const char* format, ...) KT_PRINTF(1, 2);
KT_API int systemExec(const char* format, ...) KT_PRINTF(1, 2);

// Has the command daemon (component 365) run the command: connects to it, sends the command line with a
// terminating NUL byte and receives its result as decimal text of at most 80 bytes. Writes
// "tsSystemEx: %d.[%s]\n" with the result and the command line as a debug line. format is not null.
// Returns the number that the service replies, 0 for a reply without digits
//     -1  no reply, no memory, or no connection: that goes to the error log as "Couldn't connect to host: %s"
//         with the cause, and is the only debug line, "tsSystemEx, can't connect to host: %s\n"
// Blocks until the service replies or closes the connection.
KT_API int tsSystemEx(const char* format, ...) KT_PRINTF(1, 2);

#ifdef __cplusplus
}
#endif

#endif
