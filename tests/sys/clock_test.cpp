// Runs in the virtual unit, whose date and hwclock only record what they are asked.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/stat.h>

#include "support/files.h"
#include "support/stdout_capture.h"

namespace {

using namespace kt::test;

constexpr char kConf[] = "/etc/ntp.conf";

std::string confWith(const std::string& serverLine) {
    return R"(# This is the most basic ntp configuration file
# The driftfile must remain in a place specific to this
# machine - it records the machine specific clock error
driftfile /var/lib/ntp/drift
# This should be a server that is close (in IP terms)
# to the machine.  Add other servers as required.
# Unless you un-comment the line below ntpd will sync
# only against the local system clock.
#
)" + serverLine +
           R"(
#
# Using local hardware clock as fallback
# Disable this when using ntpd -q -g -x as ntpdate or it will sync to itself
server 127.127.1.0
fudge 127.127.1.0 stratum 14
# Defining a default security setting
restrict default
)";
}

// Result and debug lines.
std::string updated(const char* source, const char* server) {
    int result = 1;
    gDebugMode = DEBUG_GENERAL;
    const std::string printed = printedBy([&] { result = updateNtpConf(source, server); });
    gDebugMode = 0;
    return std::to_string(result) + withoutHeads(printed);
}

TEST(Clock, ConfigurationOfTheTimeSource) {
    umask(0);
    const std::string before(5000, '#');
    const std::string off = confWith("#server ntp.example.com");
    const std::string invalid = "-2\n - updateNtpConf() / must specify valid timeSource, 'Manual' or 'NTP'\n";
    const std::tuple<const char*, const char*, std::string, std::string> cases[] = {
        {"NTP", "10.0.0.1 iburst", "0", confWith("server 10.0.0.1 iburst")},
        {"ntpd", "%s", "0", confWith("server %s")},
        {"manual", nullptr, "0", off},
        {"ManualSync", "ignored", "0", off},
        {"GPS", "10.0.0.1", invalid, before},
        {"NTP", nullptr, "-1\n - updateNtpConf() / must specify timeServer\n", before},
        {"Manua", nullptr, invalid, before},
        {nullptr, "10.0.0.1", "-2\n - updateNtpConf() / must specify timeSource\n", before}};
    for (const auto& [source, server, outcome, conf] : cases) {
        setContents(kConf, before);
        EXPECT_EQ(updated(source, server), outcome);
        EXPECT_EQ(contentsOf(kConf), conf);
    }
    unlink(kConf);
    EXPECT_EQ(updated("NTP", "host"), "0");
    struct stat made;
    EXPECT_TRUE(stat(kConf, &made) == 0 && made.st_mode == (S_IFREG | 0644) && unlink(kConf) == 0);
    mkdir(kConf, 0755);
    EXPECT_EQ(updated("Manual", nullptr), "-3\n - updateNtpConf() / could not open .conf\n");
}

TEST(Clock, IsSetInLocalTime) {
    setenv("TZ", "WEST+5EAST,M3.2.0,M11.1.0", 1);
    tzset();
    setContents("/bin/date", "#!/bin/sh\necho \"date $*\" >>" + kJournal + "\necho now $1\n");
    gDebugMode = DEBUG_GENERAL;
    const auto set = [] {
        EXPECT_EQ(setLocalTime(1772564709), 0);  // 3 March 2026, 19:05:09 UTC
        fflush(stdout);
    };
    EXPECT_EQ(withoutHeads(printedBy(set)),
              "timestamp: 1772564709, dst: 0, setting time with [030314052026.09]\n"
              " -- /bin/date 030314052026.09\nnow 030314052026.09\n"
              "systemEx: 0.0.[/bin/date 030314052026.09]\n -- /sbin/hwclock --systohc\n\n - date:\nnow\n"
              "systemEx: 0.0.[/bin/date]\n\n");
    EXPECT_EQ(takeJournal(), "date 030314052026.09\nhwclock --systohc\ndate \n");
    gDebugMode = 0;
}

}  // namespace
