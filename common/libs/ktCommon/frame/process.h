// The name and id of processes, as the board's `ps` and `pidof` tell them, and a name of its own for a
// daemon.
//
// The look-ups run shell pipelines: they block for some milliseconds, are cancellation points, take no lock
// and may run in several threads at once. A name to look up goes to the shell between double quotes,
// unescaped: pass only trusted text. errno is not kept. Nothing here is for signal handlers.
#ifndef KT_FRAME_PROCESS_H
#define KT_FRAME_PROCESS_H

#include <stddef.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

#define KT_PROCESS_NAME_SIZE 32           // bytes, terminator included
#define KT_PROCESS_NAME_OVERRIDE_SIZE 80  // likewise

// The own process name and id as they were when the fatal-signal handlers were installed; empty and 0 before.
extern KT_API char g_processName[KT_PROCESS_NAME_SIZE];
extern KT_API int g_proccessId;

// When not empty, the name that getProcessName tells. Set it before the library is started, so that the check
// for a second instance and the debug port use it: readers take no lock.
extern KT_API char g_processNameOverride[KT_PROCESS_NAME_OVERRIDE_SIZE];

// The name of process pid: the override when it is set, whatever the pid, else the command name that ps
// shows, without surrounding blanks. dest: array of n bytes, not null. An override that is too long is cut to
// n - 1 characters; a name from ps that does not fit with a line feed and a terminator gives an empty name.
// Returns dest; empty when the process does not exist or ps cannot run. With n 0 nothing is written.
KT_API char* getProcessName(int pid, char* dest, size_t n);

// Sets the override; an empty name clears it. A name of 80 characters or more is cut to 79.
// Returns a pointer just past the copied terminator; null when the name was cut, or is null (nothing changes
// then).
KT_API void* setProcessName(const char* name);

// Returns the id of one running process with that program name; 0 when there is none, pidof cannot run or
// name is null.
KT_API int getProcessID(const char* name);

// Counts the running processes with that program name. firstPid (may be null) receives the id that pidof
// names first.
// Returns 0 to 3, the number of ids read (3 also for more)
//     -1  name is null, or pidof printed only blanks (*firstPid is then 0)
//     -3  no such process, pidof failed, or more ids than fit 79 characters (*firstPid is untouched)
KT_API int checkForMultipleInstances(const char* name, int* firstPid);

#ifdef __cplusplus
}
#endif

#endif
