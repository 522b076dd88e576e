// Reboot, and reset to factory defaults.
//
// THESE FUNCTIONS DELETE DATA AND REBOOT THE UNIT. Run them in the virtual unit, never on a workstation.
//
// A reset prepares the files while the daemons still run; the reboot that makes it take effect is the
// caller's next step. The manufacturing file and whatever is not named here survive. No command's result is
// looked at: one that fails leaves its files in place and the sequence goes on. Paths go to the shell as they
// are.
//
// The functions keep no state and may run in any thread; they are meant for one caller at a time, although
// two do the same twice. All run shell commands: they block as long as those do, are cancellation points,
// leave no lock or memory behind when cancelled, and are not for signal handlers. The request is recorded in
// the gateway's reboot log under component 310.
#ifndef KT_FRAME_RESET_H
#define KT_FRAME_RESET_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    RESET_REBOOT = 0,              // "-- System is initiating a reboot."
    RESET_OUT_OF_BOX = 1,          // "System is initiating a NEM out-of-box reset."
    RESET_OUT_OF_BOX_NO_COMMS = 2  // "System is initiating a NEM out-of-box reset excluding communications."
};

// "/usr/local/data/netpanel.conf", the network settings.
extern KT_API const char NETPANEL_CONF_FILE[];

// Records the request in the reboot log and carries it out. resetType:
//     RESET_REBOOT               eject, with what is said there
//     RESET_OUT_OF_BOX           prepForSystemResetToDefaults, then prepForNetworkResetToDefaults
//     RESET_OUT_OF_BOX_NO_COMMS  prepForSystemResetToDefaults only: the network settings survive
// Returns 0 once the files are prepared
//     -1  another type: nothing but "System has encountered an invalid RESET command." in the reboot log
KT_API int initiateSystemReset(int resetType);

// Removes the retries, the backups (/usr/local/data/*.backup and *.BACKUP), both databases (SQL_MAIN_DB_NAME,
// SQL_RBAC_DB_NAME), everything in LOG_PATH but its entry "reboot", and every file in TRACE_PATH; leaves an
// empty directory /usr/local/data/retries. The retries, the backups and the final "/bin/sync" go past
// systemEx, so they are not traced. What would delete something else is left out: a database path of more
// than 242 characters, and an empty LOG_PATH or TRACE_PATH.
// Returns 0.
KT_API int prepForSystemResetToDefaults(void);

// Removes NETPANEL_CONF_FILE.
// Returns 0.
KT_API int prepForNetworkResetToDefaults(void);

// Records the message (printf format fmt, not null, with its arguments) in the reboot log under `component`,
// asks the maintenance daemon for a reboot ("/usr/local/bin/plimb reboot") and sleeps until it comes.
// Does not return. A cancelled thread ends. Not for a debug command's handler: the port would not come to its
// end any more, and the tear-down waits for it.
KT_API void eject(int component, const char* fmt, ...) KT_PRINTF(2, 3) KT_NORETURN;

// Changes the working directory to "/", runs "/bin/sync", then "/sbin/shutdown now -r -F", by system(3).
// Nothing is recorded.
// Returns the wait status of the shutdown command, -1 when it could not be run.
//
// The name is also the C library's: int reboot(int) of <sys/reboot.h>. To have both headers in one source
// include that one first; its declaration then serves for this function, too: call it as reboot(0), the
// argument is ignored. In a program of this library every call of the name comes here, reboot(RB_AUTOBOOT)
// among them: the system call is syscall(SYS_reboot, ...).
#ifndef _SYS_REBOOT_H
KT_API int reboot(void);
#endif

// Removes every named semaphore "/prot_*.sem" (SEMAPHORE_DIRECTORY) and writes "Cleared protocol
// semaphores\n" as a debug line.
// Returns 0.
KT_API int ClearGlobalProtocolSemaphores(void);

#ifdef __cplusplus
}
#endif

#endif
