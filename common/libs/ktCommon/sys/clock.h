// The system's clock and the configuration of its NTP daemon.
//
// Both functions may run in any thread, and are cancellation points that lose nothing; neither is for signal
// handlers. errno is not kept.
#ifndef KT_SYS_CLOCK_H
#define KT_SYS_CLOCK_H

#include <time.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// "/etc/ntp.conf". Weak: a program may define its own.
extern KT_API const char NTP_CONF_PATH[];

// SETS THE CLOCK of the system by "/bin/date", with systemEx, and then the battery-backed one by
// "/sbin/hwclock --systohc". Prints each command, and the time afterwards, on standard output, which is
// flushed before every command; writes a debug line. Blocks for more than a second: half of one behind each
// of the two.
// when: seconds since the epoch. One that localtime_r cannot convert sets nothing.
// Returns 0, whatever the commands do.
KT_API int setLocalTime(time_t when);

// Replaces the contents of NTP_CONF_PATH (created with mode 0644) by 17 lines: comments, the server of the
// time source, the local clock as fallback, "restrict default". It is written in place: of two processes that
// do so at once, either or a mixture may win. The NTP daemon is not restarted.
// timeSource: begins with "Manual" or "NTP", in any case. "Manual" leaves the server commented out.
// timeServer: the server's name for "NTP", copied as it is; may be null.
// Returns 0, whether or not all could be written. Other results leave the file as it was, and write a debug
// line:
//     -1  "NTP" without a server
//     -2  timeSource is null or unknown
//     -3  the file cannot be opened for reading and writing; or memory is short, without a line
KT_API int updateNtpConf(const char* timeSource, const char* timeServer);

#ifdef __cplusplus
}
#endif

#endif
