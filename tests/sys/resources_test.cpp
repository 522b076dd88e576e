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

constexpr char kProcpsFree[] =
    "               total        used        free      shared  buff/cache   available\n"
    "Mem:     33567776768  2147483648  2147483647     4202496  5000000000   900000000\n";

// From now on a tool prints this, and its use goes to the journal.
void fake(const std::string& path, const std::string& output) {
    const std::string record = "echo \"${0##*/} $*\" >>" + kt::test::kJournal;
    kt::test::setContents(path,
                          "#!/bin/sh\n" + record + "\n/bin/sed '1,/^#--$/d' \"$0\"\nexit\n#--\n" + output);
}

// What a function makes of its record, whatever that held before, and of the tool's output.
template <typename Record, typename Fill>
void expectFilled(const char* output, int result, const Record& expected, const char* asked, Fill fill) {
    if (output != nullptr) { fake(*asked == 'd' ? "/bin/df" : "/usr/bin/free", output); }
    Record record;
    memset(&record, 'x', sizeof record);
    EXPECT_EQ(fill(&record), result);
    EXPECT_EQ(memcmp(&record, &expected, sizeof record), 0) << output;
    EXPECT_EQ(takeJournal(), asked);
}

TEST(Resources, OfTheRealTools) {
    DiskSpaceInfo disk;
    MemoryInfo memory;
    MemUseInfo use = {};
    struct sysinfo system;
    EXPECT_EQ(getOverlayFreeSpace(&disk) + getFreeMem(&memory) + sysinfo(&system), 0);
    EXPECT_TRUE(disk.filesystem == std::string("/dev/root") && disk.totalKB > disk.availableKB);
    EXPECT_EQ(memory.total, std::min<int64_t>(INT_MAX, int64_t{1} * system.totalram * system.mem_unit));
    EXPECT_TRUE(memory.used > 0 && memory.free > 0 && memory.column6 > 0);
    kt::test::setContents("/usr/local/data/fupdate/image", std::string(1 << 20, 'x'));
    EXPECT_GE(getDiskUsage("/usr/local/data/fupdate"), 1024);
    const int worker = fork();
    if (worker == 0) {
        setsid();
        execl("/bin/sleep", "sleep", "987654", nullptr);
    }
    while (worker > 0 && queryMemUse("sleep 987654", &use) != 0) {}
    EXPECT_TRUE(use.rssKB > 0 && use.usedBytes > 0 && use.freeBytes > 0 && isdigit(*use.memPercent) != 0);
    kill(worker, SIGKILL);
    waitpid(worker, nullptr, 0);
}

TEST(Resources, Disks) {
    const char procps[] =
        "Filesystem            1K-blocks     Used Available Use% Mounted on\n"
        "/dev/mapper/cryptroot   3030800   912344   1945084  32% /media/a/long/mount/point\n"
        "/dev/root2           9000000000        1        22   3% /second\n";
    const char busybox[] =
        "Filesystem           1K-blocks      Used Available Use% Mounted on\n"
        "/dev/root                 4000      1000      3000  25% /\n"
        "/dev/mapper/cryptroot\n"
        "                       3030800    912344   1945084  32% /overlay\n"
        "odd                          - 17\n";
    const auto expect = [](const char* output, const char* device, int result,
                           const DiskSpaceInfo& expected) {
        expectFilled(output, result, expected, "df -k\n",
                     [=](auto info) { return getFreeDisk(device, info); });
    };
    const char crypt[] = "/dev/mapper/cryptroot";
    expect(procps, crypt, 0, {"/dev/mapper/cryptro", 3030800, 912344, 1945084, "32%", "/media/a/long/mount"});
    expect(procps, "/dev/root", 0, {"/dev/root2", INT_MAX, 1, 22, "3%", "/second"});
    const DiskSpaceInfo overlay = {"/dev/mapper/cryptro", 3030800, 912344, 1945084, "32%", "/overlay"};
    expect(busybox, crypt, 0, overlay);
    expectFilled(nullptr, 0, overlay, "df -k\n", getOverlayFreeSpace);
    expect(busybox, "odd", 0, {"odd", 0, 0, 0, "", ""});
    expect("", "/dev/root", -3, {});
    fake("/bin/df", "/dev/root 4000 1000 3000 25% /\n");
    const DiskSpaceInfo plain = {"/dev/root", 4000, 1000, 3000, "25%", "/"};
    expectFilled(nullptr, 0, plain, "df -k\ndf -k\n", getOverlayFreeSpace);
    EXPECT_TRUE(getFreeDisk(nullptr, nullptr) == -1 && getFreeDisk("/", nullptr) == -2);

    const std::string longest(240, 'x');
    const std::pair<const char*, int> usages[] = {{"12\t/x\n40\t/\n40\ttotal\n", 40},
                                                  {"40\t/x\n", 0},
                                                  {"", 0},
                                                  {"9999999999\ttotal\n", INT_MAX},
                                                  {"7\ttotal\n8\ttotal\n", 7}};
    for (const auto& [output, expected] : usages) {
        fake("/usr/bin/du", output);
        EXPECT_EQ(getDiskUsage(longest.c_str()), expected);
        EXPECT_EQ(takeJournal(), "du -c " + longest + "\n");
    }
    EXPECT_TRUE(getDiskUsage(nullptr) == -1 && getDiskUsage((longest + "x").c_str()) == 0);
    EXPECT_EQ(takeJournal(), "");
}

TEST(Resources, MemoryAndLoad) {
    const auto expect = [](const char* output, int result, const MemoryInfo& expected) {
        expectFilled(output, result, expected, "free -b\n", getFreeMem);
    };
    expect(kProcpsFree, 0, {"Mem:", INT_MAX, INT_MAX, INT_MAX, 4202496, INT_MAX, 900000000});
    expect(
        "              total        used        free      shared  buff/cache   available\n"
        "Mem:      519716864    33222656   463941632       36864    22552576   475500544\n"
        "-/+ buffers/cache:\n",
        0, {"Mem:", 519716864, 33222656, 463941632, 36864, 22552576, 475500544});
    expect("Mem: 100 -5 30\nSwap: 0 0 0\n", 0, {"Mem:", 100, -5, 30, 0, 0, 0});
    expect("nothing\n", -2, {});
    EXPECT_EQ(getFreeMem(nullptr), -1);
    const std::pair<const char*, int> loads[] = {
        {"1.25 0.9 1/50 77\n", 125}, {"0.05 1\n", 5}, {"0.00 0\n", 0}, {"", 0}};
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
    kt::test::setContents("/bin/cat",
                          "echo >>/tmp/runs; echo a b c d e f g h i j k l m n $(wc -l </tmp/runs)\n");
    EXPECT_EQ(getProcessLoading("worker"), 1);
    fake("/bin/pidof", "");
    const auto inVain = [] { EXPECT_EQ(getProcessLoading("worker") * 10 + getProcessLoading(nullptr), -21); };
    EXPECT_EQ(kt::test::allPrintedBy(inVain),
              "Could not get process ID for [worker]\nMust give process name to show\n");
}

// Result, figures and what is printed, of a record that was not cleared.
std::string memUse(const char* name) {
    MemUseInfo info = {7, "xxxxxxx", 7, 7, ""};
    int result = 0;
    const std::string printed = kt::test::allPrintedBy([&] { result = queryMemUse(name, &info); });
    int days = -1;
    EXPECT_EQ(sscanf(info.uptime, "%d:%*2d:%*2d:%*2d", &days), 1);
    char figures[100];
    snprintf(figures, sizeof figures, "%d %d %d %d %s\n", result, info.usedBytes, info.freeBytes, info.rssKB,
             info.memPercent);
    return figures + printed;
}

TEST(Resources, MemoryUseOfAProcess) {
    const std::string without = "-1 2147483647 2147483647 7 xxxxxxx\n -- else !(";
    fake("/usr/bin/free", kProcpsFree);
    fake("/bin/ps",
         "    1 ttymxc6  Ss     0:07      3    77  1800   900  0.2 /sbin/console -c\n"
         "  123 ?        Ssl    1:01      5   120 30000 12345 10.75123 /usr/bin/worker\n1 root 0:07 odd\n");
    takeJournal();
    EXPECT_EQ(memUse("worker"), "0 2147483647 2147483647 12345 10.7512\n");
    EXPECT_EQ(memUse("console"), "0 2147483647 2147483647 900 0.2\n");
    EXPECT_EQ(memUse("odd"), without + "p2) / return(-1)\n --- TempBuff = 1 root 0:07 odd\n\n");
    EXPECT_EQ(takeJournal(), "free -b\nps axv\nfree -b\nps axv\nfree -b\nps axv\n");
    EXPECT_EQ(memUse("none"), without +
                                  "sysBuffEcho_alt(cmd_str, ...) / return(-1)\n"
                                  " --- cmd_str = ps axv | grep 'none' | grep -v 'grep'\n --- TempBuff = \n");
    EXPECT_EQ(memUse(nullptr), without + "proc_name != NULL) / return(-1)\n");
    takeJournal();
    EXPECT_EQ(memUse(std::string(256, 'x').c_str()).find(without + "sysBuffEcho_alt(cmd_str"), 0U);
    EXPECT_EQ(takeJournal(), "free -b\n");
    EXPECT_EQ(queryMemUse("worker", nullptr), -1);
    fake("/usr/bin/free", "odd\n");
    EXPECT_EQ(memUse("worker"), "-1 7 7 7 xxxxxxx\n -- else !(p1) / return(-1)\n --- TempBuff = odd\n\n");
    fake("/usr/bin/free", "");
    EXPECT_EQ(memUse("worker"),
              "-1 7 7 7 xxxxxxx\n -- else !(sysBuffEcho_alt('free -b -o', ...) / return(-1)\n");
}

}  // namespace
