// Apart from any user: a compiler that sees a value would fold it, and a program's own definition were
// ignored.
#include "sync/lock_file.h"

extern "C" KT_WEAK const int MAX_LOCK_RETRIES = 100;
