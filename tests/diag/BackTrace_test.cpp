// Fault and assertion reports, made in this process. The log is this program's own, so it sees what arrives there.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <logging.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <numeric>
#include <sstream>
#include <thread>

#include "support/cancellable_thread.h"
#include "support/forked_child.h"

static std::vector<std::string> logged;
static void (*afterLogging)();
void logStackTrace(const char* text) {
    logged.emplace_back(text);
    afterLogging == nullptr ? void() : afterLogging();
}

// A descent of so many frames that have a name.
extern "C" KT_API __attribute__((noinline)) int f(int (*call)(), int times) {
    return (times > 1 ? f(call, times - 1) : call()) | 1;  // a call alone would take the frame's place
}
namespace plant {
KT_API int pump(int (*call)()) {
    return f(call, 1);
}
}  // namespace plant
extern "C" KT_API const char notMangled[] asm("_Znot.mangled") = "";

namespace {

using namespace std::string_literals;
using namespace testing::internal;  // CaptureStdout and its like
using Texts = std::vector<std::string>;
using Word = unsigned long;
constexpr Word kWord = sizeof(Word);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kForeign = 1;  // frames: sanitizers call backtrace from a function of their own
#else
constexpr size_t kForeign = 0;
#endif

std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char* format, ...) {
    char text[300];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

// What standard error gets from the body; the log has to get the same.
template <typename Body>
std::string writtenBy(Body body) {
    logged.clear();
    CaptureStderr();
    body();
    FlushCache();
    std::string text = GetCapturedStderr();
    EXPECT_EQ(logged, text.empty() ? Texts{} : Texts{text});
    return text;
}

// Takes the frames out of reports, leaves "*" of their times, and returns the frames' names.
Texts takeFrames(std::string& reports) {
    Texts names;
    int index = 1;
    for (size_t start; (start = reports.find("Frame: ")) != std::string::npos;) {
        const int previous = index;
        char name[999] = "";
        sscanf(&reports[start], "Frame: %d: [0x%*x] ( %998[^ ]", &index, name);
        EXPECT_TRUE(previous == 1 || index == previous - 1) << reports;
        names.emplace_back(name);
        reports.erase(start, reports.find('\n', start) + 1 - start);
    }
    for (size_t year; (year = reports.find(".20")) != std::string::npos;) {
        reports.replace(year - 5, strlen("mm.dd.yyyy hh:mm:ss.mmm"), "*");
    }
    return names;
}

std::string assertion(const std::string& expression, const char* file, int line, const char* comment) {
    return "\n~~~~~~~ BackTrace ASSERT ~~~~ * ~~~~\n\n  Failed expression: (" + expression + ") @ " + file +
           formatted(" (line: %d)\n  Comment: \"%s\"\nStack backtrace:\n", line, comment) +
           std::string(59, '~') + "\n\n";
}

Word addressOf(const void* place) {
    return reinterpret_cast<Word>(place);
}
unsigned long** at(Word address) {
    return reinterpret_cast<unsigned long**>(address);  // NOLINT(performance-no-int-to-ptr)
}

// Two pages of words between unreadable ones.
Word makeWords() {
    const Word pages = addressOf(mmap(nullptr, 0x4000, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(at(pages + 0x1000), 0x2000, PROT_READ | PROT_WRITE);
    for (Word i = 0; i < 0x2000 / kWord; ++i) {
        at(pages + 0x1000)[i] = *at(addressOf(&i));
    }
    return pages + 0x1000;
}
const Word words = makeWords();

std::string wordList(Word fp, Word sp, int first, int last) {
    std::string list;
    for (int i = first; i >= last; --i) {
        const Word place = fp + static_cast<Word>(i) * kWord;
        const char* const suffix = place == sp ? " <----- Current stack pointer" : "";
        list += formatted("0x%lx deref: %3d: [0x%08lx] %s\n", place, i, addressOf(*at(place)),
                          i == 0 ? " <----- Frame start" : suffix);
    }
    return list;
}

TEST(BackTrace, CacheKeepsWhatFits) {
    const auto isFilledTo = [](long length) {
        const auto zeros = [] { return std::count(cacheBuffer + cacheOffset, std::end(cacheBuffer), 0); };
        const bool failed = zeros() == 131072 - length && LogCache("%s%ls", "half", L"a\x7fffffff") == 0;
        return failed && cacheOffset == length && zeros() == 131072 - length;
    };
    const std::string all(131071, 'x');
    for (const int length : {0, 5, 131065, 1, 0}) {
        const int end = cacheOffset + length;
        EXPECT_EQ(LogCache("%.*s%s", length, all.c_str(), end == 131071 ? "cut" : ""), 1);
        EXPECT_TRUE(isFilledTo(end)) << end;
    }
    int ends[2];
    const int saved = dup(STDERR_FILENO);
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, ends), 0);
    dup2(ends[1], STDERR_FILENO);
    FlushCache();
    FlushCache();
    dup2(saved, STDERR_FILENO);
    std::string message(all.size(), '?');
    EXPECT_EQ(recv(ends[0], message.data(), message.size(), MSG_TRUNC), 131071);
    EXPECT_EQ(recv(ends[0], nullptr, 0, 0), -1);
    EXPECT_TRUE(message == all && logged == Texts{all} && isFilledTo(0));
}

TEST(BackTrace, StackWords) {
    const auto expectFrame = [](Word fp, Word distance, int last) {
        const std::string text = writtenBy([&] { EXPECT_EQ(DumpFaultFrame(at(fp), at(fp - distance)), 1); });
        EXPECT_EQ(text, "\nFault frame:\n" + wordList(fp, fp - distance, 0, last) + "\n") << distance;
    };
    const auto expectVicinity = [](Word fp, int range, int first, int last) {
        const std::string text = writtenBy([&] { dump_frame_in_vicinity_of(at(fp), at(fp - kWord), range); });
        const std::string head = formatted("fp: 0x%lx, sp: 0x%lx, range: %d ) ***\n", fp, fp - kWord, range);
        EXPECT_EQ(text, "\n *** dump_frame_in_vicinity_of( " + head + wordList(fp, fp - kWord, first, last) +
                            " *** End dump_frame_in_vicinity_of() ***\n\n");
    };
    const Word middle = words + 1010 * kWord;
    const Word distances[] = {0, 2, 98, 99, 100, 101, 1000, -1UL, -2UL};
    const int lasts[] = {0, -2, -98, -99, -100, -100, -100, 0, 1};
    const int lastsOneByteOn[] = {-1, -3, -99, -100, -100, -100, -100, 0, 1};
    for (size_t i = 0; i < std::size(distances); ++i) {
        expectFrame(middle, distances[i] * kWord, lasts[i]);
        expectFrame(middle, distances[i] * kWord + 1, lastsOneByteOn[i]);
    }
    expectFrame(words + kWord, 10 * kWord, -1);
    expectVicinity(words + kWord, 2, 2, -1);
    for (const int range : {2, 0, -1}) {
        expectVicinity(middle, range, range, -range);
        expectFrame(range * kWord, kWord, 1);
    }
}

TEST(BackTrace, SymbolLines) {
    const auto expectLine = [](Word address, int index, const std::string& symbol) {
        const std::string text =
            writtenBy([&] { capture_symbol(*at(addressOf(&address)), "at: ", index, "end"); });
        const std::string object = ") @ "s + program_invocation_name + " ";
        const std::string head = formatted("at: %3d: [0x%08lx] ", index, address);
        EXPECT_EQ(text, head + (symbol.empty() ? "" : symbol + object) + "end\n");
    };
    const Word start = addressOf(reinterpret_cast<void*>(f));
    expectLine(start & ~1UL, 7, "( f + 0x0 ");
    expectLine(start + 4, 1234, "( f + 0x4 ");
    expectLine(addressOf(reinterpret_cast<void*>(plant::pump)), -100, "( plant::pump(int (*)()) + 0x0 ");
    expectLine(addressOf(notMangled), 0, "( _Znot.mangled + 0x0 ");
    for (const Word unknown : {addressOf(&words), 0x10UL, ~0UL - 15}) {
        expectLine(unknown, -7, "");
    }
}

// Where the board's 21 words are in a context.
#ifdef __arm__
constexpr int kRegisters[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
#else
constexpr int kRegisters[] = {20, 19, 21, 13, 8, 9, 12, 14, 0, 1, 2, 3, 4, 5, 10, 6, 15, -1, 16, 17, 22};
static_assert(REG_TRAPNO == 20 && REG_RAX == 13 && REG_RBP == 10 && REG_RSP == 15 && REG_RIP == 16);
#endif

TEST(BackTrace, SignalReportHasItsSectionsInOrder) {
    static ucontext_t context;
    static siginfo_t info;
    std::string dump =
        "\nSIGNAL CONTEXT:\n    trap : ?, error: ?, oldmsk: ?\n       r0: ?,    r1: ?,     r2: ?\n"
        "       r3: ?,    r4: ?,     r5: ?\n       r6: ?,    r7: ?,     r8: ?\n       r9: ?,   r10: ?\n"
        "       fp: ?,    ip: ?,     sp: ?\n       lr: ?,    pc: ?,   cpsr: ?\n    fault: ?\n    Working fp: "
        "?\n";
    for (size_t i = 0; i < std::size(kRegisters); ++i) {
        const bool isFrame = i == 14 || i == 16;
        const Word value = kRegisters[i] < 0 ? 0 : isFrame ? words + (23 - i) * kWord : ~0xFFUL + i;
        kRegisters[i] < 0 ? nullptr
                          : memcpy(&at(addressOf(&context.uc_mcontext))[kRegisters[i]], &value, kWord);
        dump.replace(dump.find('?'), 1, formatted("0x%08lx", value));
    }
    const Word fp = words + 9 * kWord;
    info.si_errno = EAGAIN;
    g_proccessId = 4711;
    strcpy(g_processName, "pump station");
    LogCache("left over");
    SignalBackTrace(6, nullptr, nullptr);
    EXPECT_TRUE(DumpArmFaultContext(nullptr, nullptr) == 0 && cacheOffset == 0);
    std::string report = writtenBy([] { f([] { return SignalBackTrace(6, &info, &context), 1; }, 2); });
    const Texts names = takeFrames(report);
    Word workingFp = 0;
    EXPECT_EQ(sscanf(strstr(report.c_str(), "Working fp:"), "Working fp: 0x%lx", &workingFp), 1);
    EXPECT_LT(addressOf(__builtin_frame_address(0)) - workingFp, 0x4000U);
    dump.replace(dump.find('?'), 1, formatted("0x%08lx", workingFp));
    EXPECT_EQ(report,
              "\n===== Signal FAULT ===== * ===== Signal FAULT =====\n\nCaught signal 6 (SIGABRT) Abort\n"
              "Error: (11) \"Resource temporarily unavailable\"\nReason: (0) \"sent by kill, sigsend, "
              "raise\"\nProcess: (4711) \"pump station\"\n" +
                  dump + "\nFault frame:\n" + wordList(fp, fp - 2 * kWord, 0, -2) + "\n\nStack backtrace:\n" +
                  std::string(73, '=') + "\n\n");
    EXPECT_EQ(names.at(kForeign) + names.at(kForeign + 1), "ff");
    EXPECT_NE(names.at(kForeign + 2), "f");
}

// A thread is cancelled while it reports; meanwhile another one forks a child that reports.
TEST(BackTrace, ReportIsUncancelledAndLeavesNoLock) {
    static const auto report = [](const char* name) { return AssertBackTrace(name, "a", 1, ""); };
    afterLogging = [] {
        afterLogging = nullptr;
        pthread_cancel(pthread_self());
        std::thread([] { EXPECT_GT(kt::test::inChild([] { return report("1"); }), 0); }).join();
    };
    CaptureStderr();
    kt::test::CancellableThread thread([] { report("0"), report("2"), pthread_testcancel(); });
    EXPECT_FALSE(thread.join());
    report("3");
    std::string text = GetCapturedStderr();
    takeFrames(text);
    std::string expected;
    for (const char* name : {"0", "1", "2", "3"}) {
        expected += assertion(name, "a", 1, "");
    }
    EXPECT_EQ(text, expected);
}

TEST(BackTrace, SignalsHaveNamesAndReasons) {
    // For each signal the reasons of the codes from 1 on; first, for all, those of the codes from 0 down.
    std::istringstream table(R"(0|sent by kill, sigsend, raise|sent by sigqueue|sent by timer expiration|
        sent by real time mesq state change|sent by AIO completion|sent by queued SIGIO|sent by tkill system call|
        4 (SIGILL) Illegal, malformed, unknown or privileged instruction|Illegal opcode|Illegal operand|
        Illegal addressing mode|Illegal trap|Privileged opcode|Privileged register|Coprocessor error|
        Internal stack error|5 (Unknown) |6 (SIGABRT) Abort|7 (SIGBUS) Bus error|Invalid address alignment|
        Nonexistent physical address|Object-specific hardware error|8 (SIGFPE) Erroneous arithmetic operation|
        Integer divide by zero|Integer overflow|Floating-point divide by zero|Floating-point overflow|
        Floating-point underflow|Floating-point inexact result|Invalid floating-point operation|
        Subscript out of range|11 (SIGSEGV) Segmentation fault|Address not mapped to object|
        Invalid permissions for mapped object|)");
    std::vector<Texts> rows;
    for (std::string text; std::getline(table >> std::ws, text, '|'); rows.back().push_back(text)) {
        rows.resize(rows.size() + (isdigit(text[0]) != 0 ? 1 : 0));
    }
    ucontext_t context = {};
    for (size_t row = 1; row < rows.size(); ++row) {
        for (int code = -7; code < 10; ++code) {
            const Texts& reasons = rows[code > 0 ? row : 0];
            const auto place = static_cast<size_t>(code > 0 ? code : 1 - code);
            siginfo_t info = {};
            info.si_code = code;
            info.si_errno = 9999;
            std::string expected =
                "\nCaught signal " + rows[row][0] + "\nError: (9999) \"Unknown error 9999\"\nReason: (";
            expected += formatted("%d) \"%s\"\nProcess: (", code,
                                  place < reasons.size() ? reasons[place].c_str() : "");
            const std::string report =
                writtenBy([&] { SignalBackTrace(std::stoi(rows[row][0]), &info, &context); });
            EXPECT_NE(report.find(expected), std::string::npos) << expected << report;
        }
    }
}

TEST(BackTrace, AssertionReportBeginsWithTheCaller) {
    static int count;
    const auto report = [] { return count = AssertBackTrace("%s", nullptr, -7, nullptr); };
    for (const size_t times : {2, 100}) {
        std::string text = writtenBy([&] { f(report, static_cast<int>(times)); });
        const Texts names = takeFrames(text);
        EXPECT_EQ(text, assertion("%s", "unknown", -7, ""));
        EXPECT_EQ(names.at(kForeign) + names.at(kForeign + 1), "f");
        EXPECT_EQ(std::count(names.begin(), names.end(), "f"),
                  static_cast<long>(std::min(times, 62 - kForeign)));
        EXPECT_EQ(names.size() + 1, static_cast<size_t>(count));
    }
    CaptureStdout();
    f([] { return print_trace(), 1; }, 20);
    const std::string trace = GetCapturedStdout();
    EXPECT_EQ(trace.find("Obtained 10 stack frames.\n") +
                  static_cast<size_t>(std::count(trace.begin(), trace.end(), '\n')),
              11U);
    EXPECT_NE(trace.find("\n"s + program_invocation_name + "(f+0x"), std::string::npos);
}

TEST(BackTrace, AssertionsOfSeveralThreadsStayWhole) {
    Texts expected;
    std::vector<std::thread> threads(8);
    logged.clear();
    CaptureStderr();
    for (size_t i = 0; i < threads.size(); ++i) {
        for (int line = 10; line < 30; ++line) {
            expected.push_back(assertion(std::to_string(i), "a", line, "b"));
        }
        threads[i] = std::thread([name = std::to_string(i)] {
            for (int line = 10; line < 30; ++line) {
                AssertBackTrace(name.c_str(), "a", line, "b");
            }
        });
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
    EXPECT_EQ(std::accumulate(logged.begin(), logged.end(), ""s), GetCapturedStderr());
    std::for_each(logged.begin(), logged.end(), takeFrames);
    std::sort(logged.begin(), logged.end());
    EXPECT_EQ(logged, expected);
}

TEST(BackTrace, WalksFrameRecords) {
    // A record's return address is the word before it, its caller's record the third word before it.
    Word memory[46] = {};
    const auto record = [&](size_t place, Word returnAddress, Word caller) {
        memory[place - 1] = returnAddress;
        memory[place - 3] = caller;
        return addressOf(&memory[place]);
    };
    const auto expectWalk = [&](Word fp, int max, const std::string& expected) {
        unsigned long* out[9];
        int count = 0;
        std::string text =
            writtenBy([&] { count = CaptureBacktraceInternal(at(fp), at(0xabc), 5, out, max); });
        std::for_each(out, out + count, [&](void* place) { text += static_cast<char>(addressOf(place)); });
        EXPECT_EQ(text, fp == 0 ? "" : formatted("  fp: 0x%lx  sp: 0xabc\n\n", fp) + expected);
    };
    const Word first = record(4, 'a', record(8, 'b', record(12, 'c', 0)));
    const Word starts[] = {
        first,     first,     first, first, first, record(16, 'd', 3 * kWord), record(20, 'e', words - 1),
        3 * kWord, words - 1, 0};
    const int limits[] = {9, 3, 2, 1, -1, 9, 9, 9, 9, 0};
    const char* const expected[] = {"abc", "abc", "ab", "a", "a", "d", "e", "", "", "o"};
    memory[42] = 'o';
    for (size_t i = 0; i < std::size(starts); ++i) {
        memory[40] = starts[i];
        expectWalk(addressOf(memory + 45), limits[i], expected[i]);
    }
    for (const Word fp : {0UL, 5 * kWord, words - kWord}) {
        expectWalk(fp, 9, "");
    }
}

TEST(BackTrace, ConfirmsAnAddressOfTheFunction) {
    const Word start =
        addressOf(g_processName) + 1;  // any symbol will do; start + 32 is the first step out of it
    const Word stack[] = {1, start + 33, start + 6, start + 32, 7, start, addressOf(&stack)};
    const Word sp = addressOf(stack);
    const Word fp = sp + 5 * kWord;
    const Word fps[] = {fp, fp, fp, fp, fp, fp, fp, 0, sp, fp + kWord, words - kWord};
    const Word sps[] = {fp + kWord, fp + kWord, fp + kWord, sp, sp + 3 * kWord, fp, kWord, sp, sp, sp, sp};
    const Word faults[] = {start, start + 32, start + 33, start - 1, 0, 0, 0, start, 1, start, start};
    const Word expected[] = {start, start + 32, 0, start + 6, start + 32, start, 0, 0, 0, 0, 0};
    for (size_t i = 0; i < std::size(fps); ++i) {
        EXPECT_EQ(ConfirmFaultInFrame(at(fps[i]), at(sps[i]), *at(addressOf(&faults[i]))), expected[i]) << i;
    }
}

TEST(BackTrace, HandlersOfFatalSignals) {
    const auto fault = [] {
        bool ready = InitSigHandlers() == 0 && g_proccessId == getpid();
        for (const int sig : {4, 6, 7, 8, 11}) {
            struct sigaction action;
            sigaction(sig, nullptr, &action);
            action.sa_flags &= ~0x04000000;  // the C library's own
            ready &= action.sa_sigaction == sigFatalHandler && sigisemptyset(&action.sa_mask) &&
                     action.sa_flags == 0x18000004;
        }
        stack_t stack;
        sigaltstack(nullptr, &stack);
        ready &= stack.ss_flags == 0 && stack.ss_size == 12288 &&
                 stack.ss_sp == at((addressOf(g_signalStack) + 3) / 4 * 4);
        ready &= std::string(program_invocation_short_name).substr(0, 15) == g_processName;
        ready&& kForeign == 0 ? testSigFault() : void();
        return ready ? SIGSEGV : 1;
    };
    for (const unsigned mode : {~0U - DEBUG_GENERAL, 0U + DEBUG_GENERAL}) {
        gDebugMode = mode;
        CaptureStderr();
        EXPECT_EQ(kt::test::inChild(fault), SIGSEGV);
        std::string text = GetCapturedStderr();
        const Texts names = takeFrames(text);
        const auto lineAfter = [&](size_t i) { return i < text.size() ? std::stoi(text.substr(i + 7)) : 0; };
        const int lines[] = {lineAfter(text.find("(line: ")), lineAfter(text.rfind("(line: "))};
        std::string expected;
        for (const int line : lines) {
            const char* const comment = "TEST ONLY, dumping stack frames at this location";
            expected += line == 0 ? "" : assertion("false", "BackTrace.cpp", line, comment);
        }
        const size_t faultStart = text.find("\n===== Signal FAULT");
        EXPECT_EQ(text.substr(0, faultStart), expected);
        EXPECT_EQ(lines[0] != lines[1], (mode & DEBUG_GENERAL) != 0 && kForeign == 0);
        EXPECT_EQ(std::count(names.begin(), names.end(), "testSigFault"), kForeign > 0    ? 0
                                                                          : lines[0] == 0 ? 1
                                                                                          : 3);
        const char* const reason = "\"Success\"\nReason: (1) \"Address not mapped to object\"\n";
        EXPECT_EQ(text.find(reason) < text.size(), kForeign == 0) << text;
    }
}

}  // namespace
