// Apart from any user: a compiler that sees a value would fold it, and a program's own definition were
// ignored.
#include "diag/debug.h"

extern "C" KT_WEAK const char DEBUG_PADDING[] = "                      ";
extern "C" KT_WEAK const char RESTORE_TEST_ONLY[] = "/usr/local/data/RESTORE_TEST_ONLY";
