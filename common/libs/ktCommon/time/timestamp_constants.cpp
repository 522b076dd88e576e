// Apart from its users: a compiler that sees the value would fold it, and a program's own definition were
// ignored.
#include "time/timestamp.h"

extern "C" KT_WEAK const char DEFAULT_DATE_FORMAT[] = "%m/%d/%Y %H:%M:%S";
