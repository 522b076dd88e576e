// Runs in the virtual unit, whose date and hwclock only record what they are asked.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/stat.h>

#include "support/debug_lines.h"
#include "support/files.h"

namespace {

using namespace kt::test;

constexpr char kConf[] = "/etc/ntp.conf";

// The tenth line; the others, of a file of 17, are always the same.
std::string tenthLine() {
    std::string conf = contentsOf(kConf);
    size_t begin = 0;
    for (int line = 1; line < 10; ++line) { begin = conf.find('\n', begin) + 1; }
    std::string tenth = conf.substr(begin, conf.find('\n', begin) - begin);
    conf.erase(begin, tenth.size() + 1);
    EXPECT_EQ(checksumOf(conf), 0x8B20713EU) << conf;
    return tenth;
}

// Result and debug lines.
std::string updated(const char* source, const char* server) {
    int result = 1;
    const std::string lines = debugLinesOf([&] { result = updateNtpConf(source, server); });
    return std::to_string(result) + lines;
}

TEST(Clock, ConfigurationOfTheTimeSource) {
    umask(0);
    const std::string before(5000, '#');
    const std::string off = "#server ntp.example.com";
    const std::string invalid = "-2\n - updateNtpConf() / must specify valid timeSource, 'Manual' or 'NTP'\n";
    const std::tuple<const char*, const char*, std::string, std::string> cases[] = {
        {"NTP", "10.0.0.1 iburst", "0", "server 10.0.0.1 iburst"},
        {"ntpd", "%s", "0", "server %s"},
        {"manual", nullptr, "0", off},
        {"ManualSync", "ignored", "0", off},
        {"GPS", "10.0.0.1", invalid, before},
        {"NTP", nullptr, "-1\n - updateNtpConf() / must specify timeServer\n", before},
        {"Manua", nullptr, invalid, before},
        {nullptr, "10.0.0.1", "-2\n - updateNtpConf() / must specify timeSource\n", before}};
    for (const auto& [source, server, outcome, conf] : cases) {
        setContents(kConf, before);
        EXPECT_EQ(updated(source, server), outcome);
        EXPECT_EQ(outcome == "0" ? tenthLine() : contentsOf(kConf), conf);
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
    const auto set = [] { EXPECT_EQ(setLocalTime(1772564709), 0); };  // 3 March 2026, 19:05:09 UTC
    EXPECT_EQ(debugLinesOf(set),
              "timestamp: 1772564709, dst: 0, setting time with [030314052026.09]\n"
              " -- /bin/date 030314052026.09\nnow 030314052026.09\n"
              "systemEx: 0.0.[/bin/date 030314052026.09]\n -- /sbin/hwclock --systohc\n\n - date:\nnow\n"
              "systemEx: 0.0.[/bin/date]\n\n");
    EXPECT_EQ(takeJournal(), "date 030314052026.09\nhwclock --systohc\ndate \n");
}

}  // namespace
