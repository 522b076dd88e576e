// Runs in the virtual unit, whose tools it replaces by recorded outputs, after a look at the real ones. The
// program's own sleep_s does not wait.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "support/files.h"
#include "support/stdout_capture.h"

static unsigned slept;
int sleep_s(unsigned seconds) {
    slept += seconds;
    return 0;
}

namespace {

using kt::test::takeJournal;

// From now on a tool prints this, and its use goes to the journal.
void fake(const std::string& path, const std::string& output) {
    const std::string record = "echo \"${0##*/} $*\" >>" + kt::test::kJournal;
    kt::test::setContents(path,
                          "#!/bin/sh\n" + record + "\n/bin/sed '1,/^#--$/d' \"$0\"\nexit\n#--\n" + output);
}

TEST(Resources, OfTheRealTools) {
    DiskSpaceInfo disk;
    EXPECT_EQ(getOverlayFreeSpace(&disk), 0);
    EXPECT_TRUE(disk.filesystem == std::string("/dev/root") && disk.totalKB > disk.availableKB);
    struct sysinfo system;
    sysinfo(&system);
    MemoryInfo memory;
    EXPECT_EQ(getFreeMem(&memory), 0);
    EXPECT_EQ(memory.total, std::min<int64_t>(INT_MAX, int64_t{1} * system.totalram * system.mem_unit));
    EXPECT_TRUE(memory.used > 0 && memory.free > 0 && memory.column6 > 0);
    kt::test::setContents("/usr/local/data/fupdate/image", std::string(1 << 20, 'x'));
    EXPECT_GE(getDiskUsage("/usr/local/data/fupdate"), 1024);
    EXPECT_EQ(getDiskUsage("/no/such 2>&1"), 0);
    const int worker = fork();
    if (worker == 0) {
        setsid();
        execl("/bin/sleep", "sleep", "987654", nullptr);
    }
    MemUseInfo use = {};
    while (worker > 0 && queryMemUse("sleep 987654", &use) != 0) {}
    EXPECT_TRUE(use.rssKB > 0 && use.usedBytes > 0 && use.freeBytes > 0 && isdigit(*use.memPercent) != 0);
    kill(worker, SIGKILL);
    waitpid(worker, nullptr, 0);
}

TEST(Resources, DiskSpace) {
    const char procps[] =
        "Filesystem            1K-blocks     Used Available Use% Mounted on\n"
        "/dev/mapper/cryptroot   3030800   912344   1945084  32% /media/a/long/mount/point\n"
        "/dev/root2           9000000000        1        22   3% /second\n"
        "/dev/root                  4000     1000      3000  25% /\n";
    const char busybox[] =
        "Filesystem           1K-blocks      Used Available Use% Mounted on\n"
        "/dev/root                 4000      1000      3000  25% /\n"
        "/dev/mapper/cryptroot\n"
        "                       3030800    912344   1945084  32% /overlay\n"
        "odd                          - 17\n";
    const DiskSpaceInfo none = {};
    const std::tuple<const char*, const char*, int, DiskSpaceInfo> cases[] = {
        {procps,
         "/dev/mapper/cryptroot",
         0,
         {"/dev/mapper/cryptro", 3030800, 912344, 1945084, "32%", "/media/a/long/mount"}},
        {busybox,
         "/dev/mapper/cryptroot",
         0,
         {"/dev/mapper/cryptro", 3030800, 912344, 1945084, "32%", "/overlay"}},
        {procps, "/dev/root", 0, {"/dev/root2", INT_MAX, 1, 22, "3%", "/second"}},
        {busybox, "root", 0, {"root", 4000, 1000, 3000, "25%", "/"}},
        {busybox, "odd", 0, {"odd", 0, 0, 0, "", ""}},
        {busybox, "17", 0, {"17", 0, 0, 0, "", ""}},
        {procps, "/dev/none", -3, none},
        {"", "/dev/root", -3, none}};
    for (const auto& [output, device, result, expected] : cases) {
        fake("/bin/df", output);
        DiskSpaceInfo info;
        memset(&info, 'x', sizeof info);
        EXPECT_EQ(getFreeDisk(device, &info), result);
        EXPECT_EQ(memcmp(&info, &expected, sizeof info), 0) << output << device << info.mountPoint;
        EXPECT_EQ(takeJournal(), "df -k\n");
    }
    DiskSpaceInfo info;
    EXPECT_TRUE(getFreeDisk(nullptr, &info) == -1 && getFreeDisk("/", nullptr) == -2);
    EXPECT_EQ(getOverlayFreeSpace(&info), -3);
    fake("/bin/df", "/dev/root 4000 1000 3000 25% /\n");
    EXPECT_TRUE(getOverlayFreeSpace(&info) == 0 && info.totalKB == 4000);
    takeJournal();
}

TEST(Resources, DiskUsage) {
    const std::pair<const char*, int> cases[] = {{"12\t/x/sub\n40\t/x\n40\ttotal\n", 40},
                                                 {"40\t/x\n", 0},
                                                 {"9999999999\ttotal\n", INT_MAX},
                                                 {"", 0},
                                                 {"7\ttotal\n8\ttotal\n", 7}};
    const std::string longest(240, 'x');
    for (const auto& [output, expected] : cases) {
        fake("/usr/bin/du", output);
        EXPECT_EQ(getDiskUsage(longest.c_str()), expected);
        EXPECT_EQ(takeJournal(), "du -c " + longest + "\n");
    }
    EXPECT_TRUE(getDiskUsage(nullptr) == -1 && getDiskUsage((longest + "x").c_str()) == 0);
    EXPECT_EQ(takeJournal(), "");
}

constexpr char kProcpsFree[] =
    "               total        used        free      shared  buff/cache   available\n"
    "Mem:     33567776768  2147483648  2147483647     4202496  5000000000   900000000\n";

TEST(Resources, MemoryAndLoad) {
    const char busybox[] =
        "              total        used        free      shared  buff/cache   available\n"
        "Mem:      519716864    33222656   463941632       36864    22552576   475500544\n"
        "-/+ buffers/cache:\n";
    const std::tuple<const char*, int, MemoryInfo> cases[] = {
        {kProcpsFree, 0, {"Mem:", INT_MAX, INT_MAX, INT_MAX, 4202496, INT_MAX, 900000000}},
        {busybox, 0, {"Mem:", 519716864, 33222656, 463941632, 36864, 22552576, 475500544}},
        {"Mem: 100 -5 30\nSwap: 0 0 0\n", 0, {"Mem:", 100, -5, 30, 0, 0, 0}},
        {"nothing\n", -2, {}}};
    for (const auto& [output, result, expected] : cases) {
        fake("/usr/bin/free", output);
        MemoryInfo info;
        memset(&info, 'x', sizeof info);
        EXPECT_EQ(getFreeMem(&info), result);
        EXPECT_EQ(memcmp(&info, &expected, sizeof info), 0) << output << info.column6;
        EXPECT_EQ(takeJournal(), "free -b\n");
    }
    EXPECT_EQ(getFreeMem(nullptr), -1);
    const std::pair<const char*, int> loads[] = {
        {"1.25 0.9 0.8 1/50 77\n", 125}, {"0.05 1 1 1/2 3\n", 5}, {"0.00 0 0 1/2 3\n", 0}, {"", 0}};
    for (const auto& [output, expected] : loads) {
        fake("/bin/cat", output);
        EXPECT_EQ(getCPULoad(), expected);
        EXPECT_EQ(takeJournal(), "cat /proc/loadavg\n");
    }
}

TEST(Resources, LoadingOfAProcess) {
    fake("/bin/pidof", "77\n");
    fake("/bin/cat", "77 (x) S 1 77 77 0 -1 4 90 0 0 0 10 23 0 0\n");
    EXPECT_EQ(getProcessLoading("worker"), 0);
    EXPECT_EQ(takeJournal(), "pidof -s worker\ncat /proc/77/stat\ncat /proc/77/stat\n");
    EXPECT_EQ(slept, 1U);
    kt::test::setContents(
        "/bin/cat", "#!/bin/sh\necho >>/tmp/runs; echo a b c d e f g h i j k l m n $(wc -l </tmp/runs)\n");
    EXPECT_EQ(getProcessLoading("worker"), 1);
    fake("/bin/pidof", "");
    const auto inVain = [] {
        EXPECT_TRUE(getProcessLoading("worker") == -2 && getProcessLoading(nullptr) == -1);
        fflush(stdout);
    };
    EXPECT_EQ(kt::test::printedBy(inVain),
              "Could not get process ID for [worker]\nMust give process name to show\n");
}

// Result, figures and what is printed, of a record that was not cleared.
std::string memUse(const std::string& name) {
    MemUseInfo info = {7, "xxxxxxx", 7, 7, ""};
    int result = 0;
    const auto query = [&] {
        result = queryMemUse(name.empty() ? nullptr : name.c_str(), &info);
        fflush(stdout);
    };
    const std::string printed = kt::test::printedBy(query);
    int days = -1;
    EXPECT_EQ(sscanf(info.uptime, "%d:%*2d:%*2d:%*2d", &days), 1);
    const std::string figures = std::to_string(info.usedBytes) + " " + std::to_string(info.freeBytes) + " ";
    return std::to_string(result) + " " + figures + std::to_string(info.rssKB) + " " + info.memPercent +
           "\n" + printed;
}

TEST(Resources, MemoryUseOfAProcess) {
    const std::string console = "    1 ttymxc6  Ss     0:07      3    77  1800   900  0.2 /sbin/console -c\n";
    const std::string daemon =
        "  123 ?        Ssl    1:01      5   120 30000 12345 10.75123 /usr/bin/worker\n";
    const std::string without = "-1 2147483647 2147483647 7 xxxxxxx\n -- else !(";
    fake("/usr/bin/free", kProcpsFree);
    fake("/bin/ps",
         "  PID TTY STAT TIME MAJFL TRS DRS RSS %MEM COMMAND\n" + daemon + console + "1 root 0:07 odd\n");
    takeJournal();
    EXPECT_EQ(memUse("worker"), "0 2147483647 2147483647 12345 10.7512\n");
    EXPECT_EQ(memUse("console"), "0 2147483647 2147483647 900 0.2\n");
    EXPECT_EQ(memUse("odd"), without + "p2) / return(-1)\n --- TempBuff = 1 root 0:07 odd\n\n");
    EXPECT_EQ(memUse("none"), without +
                                  "sysBuffEcho_alt(cmd_str, ...) / return(-1)\n"
                                  " --- cmd_str = ps axv | grep 'none' | grep -v 'grep'\n --- TempBuff = \n");
    EXPECT_EQ(takeJournal(), "free -b\nps axv\nfree -b\nps axv\nfree -b\nps axv\nfree -b\nps axv\n");
    EXPECT_EQ(memUse(std::string(256, 'x')).find(without + "sysBuffEcho_alt(cmd_str"), 0U);
    EXPECT_EQ(memUse(""), without + "proc_name != NULL) / return(-1)\n");
    EXPECT_EQ(takeJournal(), "free -b\nfree -b\n");
    EXPECT_EQ(queryMemUse("worker", nullptr), -1);
    fake("/usr/bin/free", "odd\n");
    EXPECT_EQ(memUse("worker"), "-1 7 7 7 xxxxxxx\n -- else !(p1) / return(-1)\n --- TempBuff = odd\n\n");
    fake("/usr/bin/free", "");
    EXPECT_EQ(memUse("worker"),
              "-1 7 7 7 xxxxxxx\n -- else !(sysBuffEcho_alt('free -b -o', ...) / return(-1)\n");
}

}  // namespace
