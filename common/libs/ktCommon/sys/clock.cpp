#include "sys/clock.h"

#include <fcntl.h>
#include <strings.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "diag/debug.h"
#include "internal/full_sleep.h"
#include "internal/heap_text.h"
#include "internal/whole_file.h"
#include "sys/shell.h"

namespace {

enum Result { kWritten = 0, kNoServer = -1, kNoSource = -2, kNotOpened = -3 };

constexpr size_t kDateSize = 40;
constexpr std::chrono::milliseconds kSettlingPause{500};
constexpr mode_t kConfMode = 0644;

constexpr char kConfHead[] =
    "# This is the most basic ntp configuration file\n"
    "# The driftfile must remain in a place specific to this\n"
    "# machine - it records the machine specific clock error\n"
    "driftfile /var/lib/ntp/drift\n"
    "# This should be a server that is close (in IP terms)\n"
    "# to the machine.  Add other servers as required.\n"
    "# Unless you un-comment the line below ntpd will sync\n"
    "# only against the local system clock.\n"
    "#\n";
constexpr char kConfTail[] =
    "#\n"
    "# Using local hardware clock as fallback\n"
    "# Disable this when using ntpd -q -g -x as ntpdate or it will sync to itself\n"
    "server 127.127.1.0\n"
    "fudge 127.127.1.0 stratum 14\n"
    "# Defining a default security setting\n"
    "restrict default\n";

bool beginsWith(const char* text, const char* word) {
    return strncasecmp(text, word, strlen(word)) == 0;
}

// The text of the commands stands in the order of what they print, also in a file.
void showAll() {
    fflush(stdout);
}

void setSystemClock(const char* date) {
    printf(" -- /bin/date %s\n", date);
    showAll();
    systemEx("/bin/date %s", date);
    kt::sleepFully(kSettlingPause);
}

void setHardwareClock() {
    puts(" -- /sbin/hwclock --systohc");
    showAll();
    (void)!system("/sbin/hwclock --systohc");
    kt::sleepFully(kSettlingPause);
}

void showClock() {
    puts("\n - date:");
    showAll();
    systemEx("/bin/date");
    puts("");
}

int writeConf(const char* serverKey, const char* server) {
    const kt::HeapText text = kt::formatted("%s%s %s\n%s", kConfHead, serverKey, server, kConfTail);
    if (text == nullptr) {
        return kNotOpened;
    }
    kt::OutputFile conf(NTP_CONF_PATH, kConfMode, O_RDWR);
    if (!conf) {
        __debug(__LINE__, "\n - updateNtpConf() / could not open .conf\n");
        return kNotOpened;
    }
    conf.replaceContents(text.get(), strlen(text.get()));
    return kWritten;
}

}  // namespace

int setLocalTime(time_t when) {
    struct tm local;
    char date[kDateSize];
    if (localtime_r(&when, &local) == nullptr || strftime(date, sizeof date, "%m%d%H%M%Y.%S", &local) == 0) {
        return 0;
    }
    __debug(__LINE__, "timestamp: %d, dst: %d, setting time with [%s]\n", static_cast<int>(when),
            local.tm_isdst, date);
    setSystemClock(date);
    setHardwareClock();
    showClock();
    return 0;
}

int updateNtpConf(const char* timeSource, const char* timeServer) {
    if (timeSource == nullptr) {
        __debug(__LINE__, "\n - updateNtpConf() / must specify timeSource\n");
        return kNoSource;
    }
    if (beginsWith(timeSource, "Manual")) {
        return writeConf("#server", "ntp.example.com");
    }
    if (!beginsWith(timeSource, "NTP")) {
        __debug(__LINE__, "\n - updateNtpConf() / must specify valid timeSource, 'Manual' or 'NTP'\n");
        return kNoSource;
    }
    if (timeServer == nullptr) {
        __debug(__LINE__, "\n - updateNtpConf() / must specify timeServer\n");
        return kNoServer;
    }
    return writeConf("server", timeServer);
}
