// Named semaphores: binary locks between the processes of the gateway, of any user.
//
// A semaphore exists from the first semGet of its name until somebody removes its file from the semaphore
// directory. It is used with sem_wait and sem_post.
#ifndef KT_SYNC_SEMAPHORE_H
#define KT_SYNC_SEMAPHORE_H

#include <semaphore.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// "/dev/shm", where the platform keeps named semaphores: each is the file "sem." with the semaphore's name
// behind it, the leading slash left out. Weak, as all here: a program may define its own.
extern KT_API const char SEMAPHORE_DIRECTORY[];

// "/qslp_retryQueue.sem" and "/dwen_liveTagMaps.sem": the semaphores of the retry queue and of the live tag
// maps. Weak.
extern KT_API const char RETRYQUEUE_SEM[];
extern KT_API const char LIVETAGMAPS_SEM[];

// Opens the semaphore of that name, whatever its count and mode; creates it with count 1 and mode 0666 if
// there is none. The file-creation mask of the whole process is 0 meanwhile, and restored in any case: files
// that other threads make at that moment get the modes that they ask for, and a shell command that they start
// then keeps the mask. Concurrent calls wait for each other, and fork waits for them.
// Returns the semaphore; the same as before while nobody has removed it. Every call needs a sem_close.
//     null  name is null
// One that can neither be opened nor created ends the process with exit(0), after "Couldn't get semaphore %s.
// Error %d/%s\n" with the name, errno and its text on standard output; the mask is restored before.
// May run in any thread. Blocks only as long as other calls and that line do; no cancellation point. Not for
// signal handlers.
KT_API sem_t* semGet(const char* name);

#ifdef __cplusplus
}
#endif

#endif
