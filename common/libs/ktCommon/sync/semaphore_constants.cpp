// Apart from any user: a compiler that sees a value would fold it, and a program's own definition were
// ignored.
#include "sync/semaphore.h"

extern "C" KT_WEAK const char SEMAPHORE_DIRECTORY[] = "/dev/shm";
extern "C" KT_WEAK const char RETRYQUEUE_SEM[] = "/qslp_retryQueue.sem";
extern "C" KT_WEAK const char LIVETAGMAPS_SEM[] = "/dwen_liveTagMaps.sem";
