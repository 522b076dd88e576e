// Apart from its users: a compiler that sees the value would fold it, and a program's own definition were
// ignored.
#include "diag/trace_files.h"

extern "C" KT_WEAK const char TRACE_PATH[] = "/usr/local/data/traces/";
