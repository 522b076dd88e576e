// Apart from its users: a compiler that sees the value would fold it, and a program's own definition were
// ignored.
#include "sys/clock.h"

extern "C" KT_WEAK const char NTP_CONF_PATH[] = "/etc/ntp.conf";
