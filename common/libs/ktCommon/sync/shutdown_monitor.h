// The request to exit cleanly that one process makes to another: one-shot, without data.
//
// A daemon starts a monitor under its module name. The request is a post of the named POSIX semaphore
// "/ktCleanExit_%s" with that name, letter case included. The semaphore exists only while a monitor waits on
// it: a request to a module whose monitor has not started, is still starting or has fired is lost. A daemon
// that exits without a request leaves its semaphore behind; the next monitor of the name removes it.
//
// The semaphore has mode 0666 whatever the umask (as the umask has it where /proc is missing or memory short,
// and as it was if it is another user's that cannot be removed). The platform takes module names of up to 239
// characters without a "/"; with another name the monitor finds no semaphore. A daemon starts one monitor: of
// two with the same name only the later can be asked.
//
// Every function may run in any thread, none in a signal handler.
#ifndef KT_SYNC_SHUTDOWN_MONITOR_H
#define KT_SYNC_SHUTDOWN_MONITOR_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// What a monitor's thread is given; in a block from the C allocator, which the thread frees.
typedef struct ShutdownMonitorContext {
    char moduleName[512];      // NUL-terminated
    void (*onShutdown)(void);  // not null
} ShutdownMonitorContext;

// Starts a monitor in a detached thread of its own: the daemon's exit request, once it comes, calls
// onShutdown there, beside the daemon's other threads. moduleName: copied, cut to 511 characters.
// Returns
//     0   also when memory or a thread is lacking: then nothing is left over, the daemon runs on without a
//         monitor, and a debug line says so
//     22  an argument is null; "initShutdownMonitor: invalid param\n" is printed on standard output
// Does not wait until the monitor is armed. Only the lines block, as long as their output does, and are
// cancellation points.
KT_API int initShutdownMonitor(const char* moduleName, void (*onShutdown)(void));

// Asks the daemon of that module name to exit. Several requests before its monitor wakes are one.
// Returns
//     0   whether or not there was a monitor to ask
//     22  moduleName is null
// Does not block and is no cancellation point.
KT_API int SignalModuleShutdown(const char* moduleName);

// A monitor, as a thread's start routine. context: ShutdownMonitorContext*, freed in any case; null ends the
// thread at once. Removes a semaphore of an earlier run (of one that cannot be removed, the requests that are
// pending), waits for a request whatever signals interrupt it, removes the semaphore, writes
// "%s ShutdownEvent received.\n" with the module name as a debug line, and calls onShutdown. When there is no
// semaphore to be had, "initShutdownMonitor, failed to acquire semaphore: %s\n" with its name is printed on
// standard output instead, and onShutdown is not called.
// Returns null. Blocks until the request, and is a cancellation point: a cancelled monitor, or one whose
// onShutdown ends the thread, leaves neither memory nor a semaphore behind. (That is, by way of functions
// that have unwind tables; -funwind-tables comes with the library's package.)
KT_API void* _shutdownMonitorThread(void* context);

#ifdef __cplusplus
}
#endif

#endif
