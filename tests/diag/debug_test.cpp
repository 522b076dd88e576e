// Runs in the virtual unit: it writes debug files into the gateway's log directory.
#include <config_data.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <sstream>
#include <thread>
#include <tuple>

#include "support/cancellable_thread.h"
#include "support/forked_child.h"
#include "support/stdout_capture.h"

// The program's own definitions, which the library must use in place of its own and of its sibling's.
extern const char DEFAULT_DATE_FORMAT[] = "day %j of %Y";
static int traceRequests;
int sqlSetOption(int option, int value) {
    return traceRequests += option == 1 && value == 1 ? 1 : 100;
}

namespace {

using kt::test::inChild;
using kt::test::printedBy;
using namespace std::string_literals;

std::string lineOfThisThread(int line, const std::string& text) {
    char head[64];
    snprintf(head, sizeof head, "%05d\\%05d (%4d): ", getpid(), gettid(), line);
    return head + text;
}

std::string withoutStamp(const std::string& line) {
    std::string shape = line.substr(0, 24);
    std::replace_if(
        shape.begin(), shape.end(), [](unsigned char c) { return isdigit(c) != 0; }, '0');
    return shape == "00.00.0000 00:00:00.000 " ? line.substr(24) : "no timestamp: " + line;
}

std::string debugFile(const std::string& name) {
    return "/var/lognv/kt/_debug_" + name + ".log";
}

std::string contents(const std::string& path) {
    std::string text;
    std::getline(std::ifstream(path), text, '\0');
    return text;
}

class Debug : public testing::Test {
  protected:
    Debug() {
        gDebugMode = 0;
        free(std::exchange(gDebugFileName, nullptr));
        for (const char* name : {"new", "even", "odd"}) {
            unlink(debugFile(name).c_str());
        }
    }
};

TEST_F(Debug, OptionStrings) {
    const std::tuple<const char*, unsigned, const char*, int> cases[] = {
        {"", 0x001, "", 0},
        {"-!", 0x001, "", 0},
        {"-zfsRt", 0x0AB, ", File, Sockets(recv), Tags", 0},
        {"sRS", 0x039, ", Sockets(recv)(send)", 0},
        {"sT", 0x009, ", Sockets", 0},
        {"sTARnR", 0x02D, ", Sockets(recv), Network", 0},
        {"qT", 0x041, ", SQL(trace)", 1},
        {"qTRTxS", 0x241, ", SQL(trace)(trace), XML", 2},
        {"qZpT", 0x141, ", SQL, Protocol", 0},
    };
    for (const auto& [options, mode, printed, traces] : cases) {
        unsigned result = 0;
        traceRequests = 0;
        const auto apply = [&, options = options] {
            _debugSetOptions("!zfsRt", "unit");
            result = _debugSetOptions(options, "unit");
        };
        EXPECT_EQ(printedBy(apply), "Debug mode OFF\nDebug mode on: General"s + printed + "\n");
        EXPECT_EQ(result, mode) << options;
        EXPECT_EQ(_debugGetMode(), mode) << options;
        EXPECT_EQ(traceRequests, traces) << options;
    }
    EXPECT_EQ(gDebugFileName, debugFile("unit"));
    gDebugMode = DEBUG_TAGS;
    for (unsigned char character = 255; character > 0; --character) {
        const std::string options(strchr("!?fnpqstx", character) == nullptr ? 1 : 0,
                                  static_cast<char>(character));
        EXPECT_EQ(printedBy([&] { _debugSetOptions(options.c_str(), "unit"); }), "Debug mode on: General\n");
        EXPECT_EQ(gDebugMode, 0x081U) << options;
    }
}

TEST_F(Debug, HelpAndFileNameCarryTheOwnName) {
    std::string own = contents("/proc/self/comm");
    own.pop_back();
    EXPECT_EQ(printedBy([] { _debugSetOptions("?", nullptr); }),
              "Debug mode on: General\nDebug options\n  f - echo debug output to /var/lognv/kt/_debug_" +
                  own +
                  ".log\n  n - enable Network debugging\n  p - enable Protocol debugging\n"
                  "  q - enable SQL debugging\n      T - add SQL trace\n  r - Set RESTORE TEST flag\n"
                  "  s - enable general Sockets debugging\n      S - add Send hexdump\n"
                  "      R - add Receive hexdump\n  t - enable Tags debugging\n  x - enable XML debugging\n"
                  "  z - enable debug messages\n  ! - disable debug\n\n  Example\n    {appname} -zfsRt\n"
                  "      enable Debug, echo to File, enable Sockets and set hexdump for Sockets Receive, "
                  "enable Tags debugging\n\n");
    printedBy([] { _debugSetOptions("f", nullptr); });
    EXPECT_EQ(gDebugFileName, debugFile(own));
}

TEST_F(Debug, EachCategoryFollowsItsOwnBit) {
    const std::tuple<int (*)(int, const char*, ...), unsigned> categories[] = {
        {__debug, 0x001},     {__debugNetwork, 0x004},  {__debugSockets, 0x008}, {__debugSQL, 0x040},
        {__debugTags, 0x080}, {__debugProtocol, 0x100}, {__debugXML, 0x200},
    };
    for (const auto& [write, bit] : categories) {
        int formatted = 0;
        const auto writeOne = [&, write = write] {
            write(12345, "%d %s %.1f %d %d %d %g%n\n", 5, "1%s", 2.5, 6, 7, 8, 9e99, &formatted);
        };
        gDebugMode = ~bit & ~0x002U;
        EXPECT_EQ(printedBy(writeOne), "");
        EXPECT_EQ(formatted, 0);
        gDebugMode = bit;
        errno = ERANGE;
        EXPECT_EQ(withoutStamp(printedBy(writeOne)), lineOfThisThread(12345, "5 1%s 2.5 6 7 8 9e+99\n"));
        EXPECT_EQ(errno, ERANGE);
    }
}

TEST_F(Debug, TextIsData) {
    const timeval epoch = {86400, 7};
    const std::string quoting = printedBy([&] { __debugCoreMsg(8, getLogTimestamp(&epoch)); });
    EXPECT_EQ(withoutStamp(quoting), lineOfThisThread(8, getLogTimestamp(&epoch)));
    const std::string before = getLogTimestamp(nullptr);
    const std::string line = printedBy([] {
        printf("waiting ");
        __debugCoreMsg(7, "100%s%n\nno end");
    });
    EXPECT_EQ(withoutStamp(line.substr(8)), lineOfThisThread(7, "100%s%n\nno end"));
    EXPECT_TRUE(before <= line.substr(8, 23) && line.substr(8, 23) <= getLogTimestamp(nullptr)) << line;

    const auto function = [] { __debugFunc("in%sit", 12, "a\n%s\n\n", "b%n"); };
    EXPECT_EQ(printedBy(function), "");
    gDebugMode = DEBUG_GENERAL;
    EXPECT_EQ(withoutStamp(printedBy(function)), lineOfThisThread(12, "in%sit<12> \"ab%n\"\n"));
}

TEST_F(Debug, FileReceivesEveryLine) {
    const auto write = [] { __debugCoreMsg(1, "text\n"); };
    const std::string plain = lineOfThisThread(1, "text\n");
    gDebugMode = DEBUG_FILE;
    EXPECT_EQ(withoutStamp(printedBy(write)),
              plain + "\n***\n*** Must call _debugSetFileName() to set a filename\n***\n");
    _debugSetFileName("no/directory");
    errno = ERANGE;
    EXPECT_EQ(withoutStamp(printedBy(write)), plain);
    EXPECT_EQ(errno, ERANGE);

    EXPECT_EQ(_debugSetFileName("new"), 0);
    EXPECT_NE(access(gDebugFileName, F_OK), 0);
    std::string printed = printedBy(write);
    printed += printedBy(write);
    gDebugMode = 0;
    printedBy(write);
    EXPECT_EQ(contents(debugFile("new")), printed);
}

TEST_F(Debug, BreakpointWaitsForACharacter) {
    const auto stop = [] {
        dup2(fileno(popen("printf '\\377'", "re")), STDIN_FILENO);
        return __breakpoint("/src/unit/pump.c", 42, "%s%%", "1%d") == 0xFF &&
               __breakpoint("a", 7, "end") == EOF;
    };
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(inChild(stop), 1); }),
              "\n>>> BP (pump.c:42) 1%d%\n\n>>> BP (a:7) end\n");
}

TEST_F(Debug, ChildrenWriteTheirOwnIds) {
    const auto isRight = [] {
        return withoutStamp(printedBy([] { __debugCoreMsg(3, "a\n"); })) == lineOfThisThread(3, "a\n");
    };
    const auto isRightHereAndInAChild = [&] { EXPECT_TRUE(isRight() && inChild(isRight) == 1); };
    isRightHereAndInAChild();
    std::thread(isRightHereAndInAChild).join();
}

std::vector<std::string> sortedLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line != "Debug mode on: General, File, Sockets(recv)") {
            lines.push_back(withoutStamp(line));
        }
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

TEST_F(Debug, LinesOfSeveralThreadsStayWhole) {
    std::vector<std::string> expected(8UL * 500);
    std::atomic<int> missing = 8 * 500;
    const auto write = [&](int first) {
        for (int line = first; line < first + 500; ++line, --missing) {
            // Some are longer than what a pipe takes in one piece by itself.
            expected[static_cast<size_t>(line)] =
                lineOfThisThread(line, std::string(line % 9 == 0 ? 5000 : 9, 'x'));
            __debugSockets(line, "%s\n", line % 9 == 0 ? std::string(5000, 'x').c_str() : "xxxxxxxxx");
        }
    };
    FILE* cat = popen("cat >/tmp/printed", "we");
    kt::test::withStdoutAt(fileno(cat), [&] {
        _debugSetOptions("fsR", "even");
        std::vector<std::thread> writers;
        for (int first = 0; first < 8 * 500; first += 500) {
            writers.emplace_back(write, first);
        }
        while (missing > 0) {
            _debugSetOptions("fsR", "odd");
            _debugSetFileName("even");
        }
        std::for_each(writers.begin(), writers.end(), [](std::thread& writer) { writer.join(); });
    });
    pclose(cat);
    std::sort(expected.begin(), expected.end());
    EXPECT_TRUE(sortedLines(contents("/tmp/printed")) == expected);
    EXPECT_TRUE(sortedLines(contents(debugFile("even")) + contents(debugFile("odd"))) == expected);
}

TEST_F(Debug, CancelledThreadLeavesTheLockFree) {
    const auto isFree = [] {
        int ends[2];
        const int capacity =
            pipe2(ends, O_CLOEXEC) == 0 && dup2(ends[1], 1) == 1 ? fcntl(1, F_GETPIPE_SZ) : 0;
        std::string block(static_cast<size_t>(capacity) + 5000, 'x');
        kt::test::CancellableThread blocked([&] { __debugCoreMsg(1, block.c_str()); });
        for (int arrived = 0; arrived < capacity;) {  // then the line is begun, and its rest has no room
            ioctl(ends[0], FIONREAD, &arrived);
        }
        blocked.cancel();
        const bool isCut = !blocked.join() && read(ends[0], block.data(), block.size()) == capacity;
        // In this thread: a new one would get the place, and so the locks, of the old one.
        __debugCoreMsg(2, "free");
        block.resize(static_cast<size_t>(read(ends[0], block.data(), block.size())));
        return isCut && block.substr(block.size() - 4) == "free";
    };
    EXPECT_EQ(inChild(isFree), 1);
}

TEST_F(Debug, ConstantsAreReplaceable) {
    char* date = formatTimeDate(40L * 86400, nullptr);
    EXPECT_STREQ(date, "day 041 of 1970");
    free(date);
    EXPECT_EQ(DEBUG_PADDING, std::string(22, ' '));
    EXPECT_STREQ(RESTORE_TEST_ONLY, "/usr/local/data/RESTORE_TEST_ONLY");
}

}  // namespace
