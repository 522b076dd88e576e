// Runs in the virtual unit: it writes debug files into the gateway's log directory.
#include <config_data.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/ioctl.h>

#include <future>

#include "support/cancellable_thread.h"
#include "support/debug_lines.h"
#include "support/files.h"
#include "support/forked_child.h"

// In place of the sibling's.
static int traceRequests;
int sqlSetOption(int option, int value) { return traceRequests += option == 1 && value == 1 ? 1 : 100; }

namespace {

using namespace kt::test;

constexpr size_t kStampSize = 24;  // month.day.year hours:minutes:seconds.milliseconds and a blank

// Behind the timestamp.
std::string lineOfThisThread(int line, const std::string& text) {
    char head[64];
    snprintf(head, sizeof head, "%05d\\%05d (%4d): ", getpid(), gettid(), line);
    return head + text;
}

struct Debug : testing::Test {
    Debug() {
        gDebugMode = 0;
        free(std::exchange(gDebugFileName, nullptr));
    }
};

TEST_F(Debug, OptionStrings) {
    const std::tuple<const char*, unsigned, std::string, int> cases[] = {
        {"-!\"#%&*+,./0123456789:;<=>@_~\x7F\x80\xE6\xFF", 0x401, "on: General", 0},
        {"abcdeghijklmoruvwyzABCDEFGHIJKLMNOPQRSTUVWXYZ", 0x401, "on: General", 0},
        {"!zfsRt", 0, "OFF", 0},
        {"-zfsRt", 0x4AB, "on: General, File, Sockets(recv), Tags", 0},
        {"sTARSnR", 0x43D, "on: General, Sockets(recv)(send), Network", 0},
        {"qTRTxSpT", 0x741, "on: General, SQL(trace)(trace), XML, Protocol", 2}};
    for (const auto& [options, mode, printed, traces] : cases) {
        unsigned result = 0;
        traceRequests = 0;
        gDebugMode = 0x400;  // of no letter: options only add
        EXPECT_EQ(printedBy([&, text = options] { result = _debugSetOptions(text, "unit"); }),
                  "Debug mode " + printed + "\n");
        EXPECT_EQ(std::tuple(result, _debugGetMode(), traceRequests), std::tuple(mode, mode, traces));
    }
    EXPECT_STREQ(gDebugFileName, "/var/lognv/kt/_debug_unit.log");
}

TEST_F(Debug, HelpAndFileNameCarryTheOwnName) {
    const std::string name = std::string("/var/lognv/kt/_debug_") + program_invocation_short_name + ".log";
    std::string help = printedBy([] { _debugSetOptions("?", nullptr); });
    EXPECT_EQ(checksumOf(help.replace(help.find(name), name.size(), "")), 0xF94F48D2U) << help;
    printedBy([] { _debugSetOptions("f", nullptr); });
    EXPECT_EQ(gDebugFileName, name);
}

TEST_F(Debug, EachCategoryFollowsItsOwnBit) {
    const std::pair<int (*)(int, const char*, ...), unsigned> categories[] = {
        {__debug, 0x001},     {__debugNetwork, 0x004},  {__debugSockets, 0x008}, {__debugSQL, 0x040},
        {__debugTags, 0x080}, {__debugProtocol, 0x100}, {__debugXML, 0x200}};
    for (const auto& [write, bit] : categories) {
        int formatted = 0;
        const auto writeOne = [&, write = write] {
            write(12345, "%d %s %.1f %d %d %d %g%n\n", 5, "1%s", 2.5, 6, 7, 8, 9e99, &formatted);
        };
        gDebugMode = ~bit & ~0x002U;
        EXPECT_TRUE(printedBy(writeOne).empty() && formatted == 0);
        gDebugMode = bit;
        errno = ERANGE;
        EXPECT_EQ(printedBy(writeOne).substr(kStampSize), lineOfThisThread(12345, "5 1%s 2.5 6 7 8 9e+99\n"));
        EXPECT_EQ(errno, ERANGE);
    }
}

TEST_F(Debug, TextIsData) {
    const timeval epoch = {86400, 7};
    EXPECT_EQ(printedBy([&] { __debugCoreMsg(8, getLogTimestamp(&epoch)); }).substr(kStampSize),
              lineOfThisThread(8, getLogTimestamp(&epoch)));
    const std::string before = getLogTimestamp(nullptr);
    const std::string line = printedBy([] { printf("waiting "), __debugCoreMsg(7, "100%s%n\nno end"); });
    EXPECT_EQ(line.substr(8 + 23), " " + lineOfThisThread(7, "100%s%n\nno end"));
    EXPECT_TRUE(before <= line.substr(8, 23) && line.substr(8, 23) <= getLogTimestamp(nullptr)) << line;

    const auto function = [] { __debugFunc("in%sit", 12, "a\n%s\n\n", "b%n"); };
    EXPECT_EQ(printedBy(function), "");
    gDebugMode = DEBUG_GENERAL;
    EXPECT_EQ(printedBy(function).substr(kStampSize), lineOfThisThread(12, "in%sit<12> \"ab%n\"\n"));
}

TEST_F(Debug, FileReceivesEveryLine) {
    const auto write = [] { __debugCoreMsg(1, "text\n"); };
    gDebugMode = DEBUG_FILE;
    EXPECT_EQ(printedBy(write).substr(kStampSize),
              lineOfThisThread(1, "text\n\n***\n*** Must call _debugSetFileName() to set a filename\n***\n"));
    _debugSetFileName("no/directory");
    errno = ERANGE;
    EXPECT_EQ(printedBy(write).substr(kStampSize), lineOfThisThread(1, "text\n"));
    EXPECT_EQ(errno, ERANGE);

    EXPECT_TRUE(_debugSetFileName("new") == 0 && access(gDebugFileName, F_OK) != 0);
    const std::string printed = printedBy([&] { write(), write(); });
    gDebugMode = 0;
    printedBy(write);
    EXPECT_EQ(contentsOf(gDebugFileName), printed);
}

TEST_F(Debug, BreakpointWaitsForACharacter) {
    const auto stop = [] {
        dup2(fileno(popen("printf '\\377'", "re")), STDIN_FILENO);
        return __breakpoint("/src/pump.c", 42, "%s%%", "1%d") == 0xFF && __breakpoint("a", 7, "end") == EOF;
    };
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(inChild(stop), 1); }),
              "\n>>> BP (pump.c:42) 1%d%\n\n>>> BP (a:7) end\n");
}

TEST_F(Debug, ChildrenWriteTheirOwnIds) {
    const auto isRight = [] {
        return printedBy([] { __debugCoreMsg(3, "a\n"); }).substr(kStampSize) == lineOfThisThread(3, "a\n");
    };
    const auto isRightHereAndInAChild = [&] { return isRight() && inChild(isRight) == 1; };
    EXPECT_TRUE(isRightHereAndInAChild() && std::async(std::launch::async, isRightHereAndInAChild).get());
}

TEST_F(Debug, LinesOfSeveralThreadsStayWhole) {
    // Some are longer than what a pipe takes in one piece by itself.
    const auto textOf = [](int line) { return std::string(line % 9 == 0 ? 5000 : 9, 'x') + '\n'; };
    std::atomic<int> missing = 8 * 500;
    const auto write = [&](int first) {
        for (int i = first; i < first + 500; ++i, --missing) { __debugSockets(i, "%s", textOf(i).c_str()); }
    };
    FILE* sort = popen("grep -v '^Debug mode on: ' | cut -d'(' -f2- | LC_ALL=C sort >/tmp/printed", "we");
    withStdoutAt(fileno(sort), [&] {
        _debugSetOptions("fs", "even");
        std::vector<std::future<void>> writers;
        for (int first = 0; first < 8 * 500; first += 500) {
            writers.push_back(std::async(std::launch::async, write, first));
        }
        while (missing > 0) {
            _debugSetOptions("fs", "odd");
            _debugSetFileName("even");
        }
    });
    pclose(sort);
    std::string expected;
    for (int line = 0; line < 8 * 500; ++line) {
        expected += lineOfThisThread(line, textOf(line)).substr(sizeof "00000\\00000 (" - 1);
    }
    EXPECT_TRUE(contentsOf("/tmp/printed") == expected);
    EXPECT_EQ(system("cut -d'(' -f2- /var/lognv/kt/_debug_[eo]* | LC_ALL=C sort | cmp - /tmp/printed"), 0);
}

TEST_F(Debug, CancelledThreadLeavesTheLockFree) {
    const auto isFree = [] {
        int ends[2];
        const int capacity = pipe2(ends, O_CLOEXEC) == 0 ? fcntl(dup2(ends[1], 1), F_GETPIPE_SZ) : 0;
        std::string block(static_cast<size_t>(capacity) + 5000, 'x');
        CancellableThread blocked([&] { __debugCoreMsg(1, block.c_str()); });
        for (int arrived = 0; arrived < capacity;) {  // then the line is begun, and its rest has no room
            ioctl(ends[0], FIONREAD, &arrived);
        }
        blocked.cancel();
        // The second line, in this thread: a new one would get the place, and so the locks, of the old one.
        return !blocked.join() && read(ends[0], block.data(), block.size()) == capacity &&
               __debugCoreMsg(2, "hangs while a lock is taken") == 0;
    };
    EXPECT_EQ(inChild(isFree), 1);
}

}  // namespace
