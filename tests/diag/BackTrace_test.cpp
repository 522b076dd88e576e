// Fault and assertion reports, made in this process. The log is this program's own, so it sees what arrives there.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"  // std::regex under sanitizers
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <logging.h>
#include <sys/socket.h>

#include <list>
#include <numeric>
#include <regex>

#include "support/cancellable_thread.h"
#include "support/debug_lines.h"
#include "support/forked_child.h"

// Addresses are compared as numbers. NOLINTBEGIN(performance-no-int-to-ptr)

static std::vector<std::string> logged;
static void (*afterLogging)() = [] {};
void logStackTrace(const char* text) { logged.emplace_back(text), afterLogging(); }

// A descent of so many frames that have a name.
extern "C" KT_API __attribute__((noinline)) int f(int (*call)(), int times) {
    return (times > 1 ? f(call, times - 1) : call()) | 1;  // a call alone would take the frame's place
}
extern "C" KT_API const char mangled[] asm("_ZN5plant4pumpEPFivE") = "";
extern "C" KT_API const char notMangled[] asm("_Znot.mangled") = "";

extern "C" __attribute__((weak)) void __sanitizer_print_stack_trace();

namespace {

using namespace kt::test;
using Texts = std::vector<std::string>;
using Word = unsigned long;
using Place = Word*;
using Words = Place*;
constexpr Word kWord = sizeof(Word);

// Frames: sanitizers call backtrace from a function of their own.
const int kForeign = __sanitizer_print_stack_trace == nullptr ? 0 : 1;

// What printf would write.
#define FORMATTED(...) (snprintf(buffer, sizeof buffer, __VA_ARGS__), std::string(buffer))
char buffer[2000];

// What standard error gets from the body; the log has to get the same.
template <typename Body>
std::string writtenBy(Body body) {
    logged.clear();
    std::string text = printedBy([&] { body(), FlushCache(); }, stderr);
    EXPECT_EQ(logged, Texts{text});
    return text;
}

// Takes the frames out of reports, leaves "*" of times and lines, and returns the frames' names.
Texts takeFrames(std::string& reports) {
    static const std::regex frame(R"(Frame: +\d+: \[0x\w+\] (?:\( (.+) \+ 0x\w+ \) @ .+ )?\n)");
    static const std::regex variable(R"(\d\d\.\d\d\.20\d\d \d\d:\d\d:\d\d\.\d{3}|line: \d+)");
    Texts names(std::sregex_token_iterator(reports.begin(), reports.end(), frame, 1), {});
    reports = std::regex_replace(std::regex_replace(reports, frame, ""), variable, "*");
    return names;
}

std::string assertion(const std::string& expression, const std::string& place, const std::string& comment) {
    return "\n~~~~~~~ BackTrace ASSERT ~~~~ * ~~~~\n\n  Failed expression: (" + expression + ") @ " + place +
           "\n  Comment: \"" + comment + "\"\nStack backtrace:\n" + std::string(59, '~') + "\n\n";
}

std::map<Word, std::string> symbols = {{Word(f) & ~1UL, "f + 0x0"},
                                       {Word(f) + 4, "f + 0x4"},
                                       {Word(mangled), "plant::pump(int (*)()) + 0x0"},
                                       {Word(notMangled), "_Znot.mangled + 0x0"}};

// Two pages of words between unreadable ones. They are addresses, of the symbols and from the end of memory on to its
// beginning.
const Word words = [] {
    auto page = Place(mmap(nullptr, 0x4000, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) + 0x1000 / kWord;
    mprotect(page, 0x2000, PROT_READ | PROT_WRITE);
    std::iota(page, page + 0x2000 / kWord, -1010UL);
    std::transform(symbols.begin(), symbols.end(), page + 1005, [](auto& each) { return each.first; });
    return Word(page);
}();

// How the words from index `first` down to `last` are shown, as far as they can be read.
std::string wordList(Word fp, Word sp, int first, int last) {
    std::string list;
    Word place = fp + static_cast<Word>(first) * kWord;
    for (int i = first; i >= last && place - words < 0x2000; --i, place -= kWord) {
        const Word word = Word(*Words(place));
        list += FORMATTED("0x%lx deref: %3d: [0x%08lx] ", place, i, word);
        list += symbols.count(word) > 0 ? "( " + symbols[word] + " ) @ " + program_invocation_name + " " : "";
        list += i == 0 ? " <----- Frame start\n" : place == sp ? " <----- Current stack pointer\n" : "\n";
    }
    return list;
}

TEST(BackTrace, CacheKeepsWhatFits) {
    const std::string all(131071, 'x');
    const auto isFilledTo = [](int end) {
        return cacheOffset == end && std::count(cacheBuffer + end, std::end(cacheBuffer), 0) == 131072 - end;
    };
    for (const int length : {0, 5, 131065, 1, 0}) {
        const int end = cacheOffset + length;
        EXPECT_EQ(LogCache("%.*s%s", length, all.c_str(), end == 131071 ? "cut" : ""), 1);
        EXPECT_TRUE(isFilledTo(end) && LogCache("%s%ls", "half", L"a\x7fffffff") == 0 && isFilledTo(end));
    }
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, ends), 0);
    withStdoutAt(ends[1], FlushCache, stderr);
    std::string message(all.size(), '?');
    EXPECT_EQ(recv(ends[0], message.data(), message.size(), MSG_TRUNC), 131071);
    EXPECT_TRUE(message == all && logged == Texts{all} && isFilledTo(0));
}

// A SIGPIPE of before the report is nobody else's to take back.
TEST(BackTrace, ClosedReaderRaisesNoSignal) {
    sigset_t set, found;
    int ends[2];
    ASSERT_EQ(pipe(ends) + close(ends[0]) + sigemptyset(&set) + sigaddset(&set, SIGPIPE), 0);
    for (const int isPending : {0, 1}) {
        LogCache("report %d", isPending);
        withStdoutAt(ends[1], FlushCache, stderr);
        EXPECT_EQ(logged.back(), FORMATTED("report %d", isPending));
        EXPECT_EQ(sigpending(&found) + sigismember(&found, SIGPIPE), isPending);
        pthread_sigmask(SIG_BLOCK, &set, &found);
        EXPECT_EQ(sigismember(&found, SIGPIPE) + raise(SIGPIPE), isPending);
    }
    EXPECT_EQ(sigwaitinfo(&set, nullptr) + pthread_sigmask(SIG_UNBLOCK, &set, nullptr), SIGPIPE);
}

TEST(BackTrace, StackWords) {
    const auto expectLists = [](Word fp, Word sp, int last, int range) {
        const std::string text = writtenBy([&] {
            EXPECT_EQ(DumpFaultFrame(Words(fp), Words(sp)), 1);
            dump_frame_in_vicinity_of(Words(fp), Words(sp), range);
        });
        const std::string head = FORMATTED("fp: 0x%lx, sp: 0x%lx, range: %d ) ***\n", fp, sp, range);
        EXPECT_EQ(text, "\nFault frame:\n" + wordList(fp, sp, 0, last) +
                            "\n\n *** dump_frame_in_vicinity_of( " + head + wordList(fp, sp, range, -range) +
                            " *** End dump_frame_in_vicinity_of() ***\n\n");
    };
    const Word middle = words + 1010 * kWord;
    const Word distances[] = {1, 2 * kWord, 2 * kWord + 1, 99 * kWord, 99 * kWord + 1, -kWord, -2 * kWord};
    const int lasts[] = {-1, -2, -3, -99, -100, 0, 1};
    for (int i = 0; i < 7; ++i) { expectLists(middle, middle - distances[i], lasts[i], 3 - i); }
    expectLists(words + kWord, words - 9 * kWord, -10, 2);
    expectLists(0, 0, -1, 0);
}

// Where the board's 21 words are in a context.
#ifdef __arm__
constexpr int kRegisters[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
#else  // the trap number is REG_TRAPNO and so on
constexpr int kRegisters[] = {20, 19, 21, 13, 8, 9, 12, 14, 0, 1, 2, 3, 4, 5, 10, 6, 15, -1, 16, 17, 22};
#endif

TEST(BackTrace, SignalReportHasItsSectionsInOrder) {
    static int sig;
    static siginfo_t info;
    static ucontext_t context;
    const Word fp = words + 9 * kWord;
    const Place registers = Place(&context.uc_mcontext);
    std::iota(registers, registers + 23, ~0xFFUL);
    registers[kRegisters[14]] = fp;
    registers[kRegisters[16]] = fp - 2 * kWord;
    const std::string end = "\nFault frame:\n" + wordList(fp, fp - 2 * kWord, 0, -2) +
                            "\n\nStack backtrace:\n" + std::string(73, '=') + "\n\n";
    std::string dump =
        "Process: (4711) \"pump station\"\n\nSIGNAL CONTEXT:\n    trap : ?, error: ?, oldmsk: ?\n"
        "       r0: ?,    r1: ?,     r2: ?\n       r3: ?,    r4: ?,     r5: ?\n"
        "       r6: ?,    r7: ?,     r8: ?\n       r9: ?,   r10: ?\n"
        "       fp: ?,    ip: ?,     sp: ?\n       lr: ?,    pc: ?,   cpsr: ?\n    fault: ?\n";
    for (const int place : kRegisters) {
        dump.replace(dump.find('?'), 1, FORMATTED("0x%08lx", place < 0 ? 0 : registers[place]));
    }
    g_proccessId = 4711;
    strcpy(g_processName, "pump station");
    LogCache("left over");
    SignalBackTrace(6, nullptr, nullptr);
    EXPECT_TRUE(DumpArmFaultContext(nullptr, nullptr) == 0 && cacheOffset == 0);
    std::string told;  // of all signals and codes
    for (int i = 0; i < 6 * 17; ++i) {
        const int code = i % 17 - 7;
        sig = std::array{4, 5, 6, 7, 8, 11}[static_cast<size_t>(i) / 17];
        info.si_code = info.si_errno = code;
        std::string report = writtenBy([] { f([] { return SignalBackTrace(sig, &info, &context), 1; }, 2); });
        const Texts names = takeFrames(report);
        EXPECT_EQ(names.at(kForeign) + names.at(kForeign + 1), "ff");
        const Word workingFp = std::stoul(report.substr(report.find("Working fp: ") + 12), nullptr, 16);
        EXPECT_LT(Word(__builtin_frame_address(0)) - workingFp, 0x4000U);
        std::smatch texts;
        std::regex_search(report, texts, std::regex("signal \\d+ (.*)\n.*\nReason: .* (\".*\")"));
        told += FORMATTED("%d/%d %s %s\n", sig, code, texts.str(1).c_str(), texts.str(2).c_str());
        std::string expected = "\n===== Signal FAULT ===== * ===== Signal FAULT =====\n\nCaught signal ";
        expected += FORMATTED("%d %s\nError: (%d) \"%s\"\n", sig, texts.str(1).c_str(), code, strerror(code));
        expected += FORMATTED("Reason: (%d) %s\n", code, texts.str(2).c_str());
        expected += FORMATTED("%s    Working fp: 0x%08lx\n", dump.c_str(), workingFp) + end;
        EXPECT_EQ(report, expected);
    }
    EXPECT_EQ(checksumOf(told), 0x1BE0DA77U) << told;
}

TEST(BackTrace, AssertionReportBeginsWithTheCaller) {
    static int count;
    const auto report = [] { return count = AssertBackTrace("%s", nullptr, -7, nullptr); };
    for (const int times : {2, 100}) {
        std::string text = writtenBy([&] { f(report, times); });
        EXPECT_LT(text.find(FORMATTED("Frame: %3d: ", count - 1)), text.find("Frame:   1: "));
        const Texts names = takeFrames(text);
        EXPECT_EQ(text, assertion("%s", "unknown (line: -7)", ""));
        EXPECT_EQ(names.at(kForeign) + names.at(kForeign + 1), "f");
        EXPECT_EQ(std::count(names.begin(), names.end(), "f"), std::min(times, 62 - kForeign));
    }
    const std::string trace = printedBy([] { f([] { return print_trace(), fflush(stdout); }, 20); });
    const std::regex tenFrames(R"(Obtained 10 stack frames\.\n(.+\n){2,3}(.+\(f\+0x.+\n){7,8})");
    EXPECT_TRUE(std::regex_match(trace, tenFrames)) << trace;
}

// A cancellation is pending in each thread. During the first report another thread forks a child that reports.
TEST(BackTrace, AssertionsOfSeveralThreadsStayWhole) {
    static const auto one = [] { return AssertBackTrace("false", "a", 1, "b"); };
    afterLogging = [] {
        afterLogging = [] {};
        std::thread([] { EXPECT_GT(inChild(one), 0); }).join();
    };
    logged.clear();
    const auto many = [] {
        one();
        std::list<CancellableThread> threads;
        for (int i = 0; i < 60; ++i) {
            threads.emplace_back([] { pthread_cancel(pthread_self()), one(), one(), pthread_testcancel(); });
        }
        std::for_each(threads.begin(), threads.end(), [](auto& thread) { EXPECT_FALSE(thread.join()); });
    };
    std::string text = printedBy(many, stderr);
    takeFrames(text);
    std::for_each(logged.begin(), logged.end(), takeFrames);
    EXPECT_EQ(logged, Texts(121, assertion("false", "a (*)", "b")));
    EXPECT_EQ(text, std::accumulate(logged.begin(), logged.end(), logged[0]));  // and the child's
}

TEST(BackTrace, WalksFrameRecords) {
    // A record's return address is the word before it, its caller's record the third word before it.
    Word memory[21] = {};
    const Word callers[] = {0, Word(memory + 8), Word(memory + 12), 0, 3 * kWord, words - 1};
    for (size_t i = 1; i <= 5; ++i) {
        memory[4 * i - 3] = callers[i];
        memory[4 * i - 1] = '`' + i;  // a to e
    }
    // Where the first record is; for 0 the word two further on is the return address.
    const Word at[] = {Word(memory + 4), Word(memory + 16), Word(memory + 20), 3 * kWord, 1, 0, 0, 'o'};
    const Word* const starts[] = {at, at, at, at, at + 1, at + 2, at + 3, at + 4, at + 5, Place(words) - 6};
    const int limits[] = {9, 2, 1, -1, 9, 9, 9, 9, 0, 9};
    const char* const expected[] = {"abc", "ab", "a", "a", "d", "e", "", "", "o", ""};
    for (size_t i = 0; i < std::size(starts); ++i) {
        Word* out[9];
        int count = 0;
        const Words fp = Words(starts[i]) + 5;
        std::string text = writtenBy([&] { count = CaptureBacktraceInternal(fp, fp, 5, out, limits[i]); });
        std::transform(out, out + count, std::back_inserter(text), [](Word* word) { return Word(word); });
        EXPECT_EQ(text, FORMATTED("  fp: %p  sp: %p\n\n%s", fp, fp, expected[i]));
    }
    EXPECT_EQ(CaptureBacktraceInternal(nullptr, nullptr, 5, nullptr, 9) + cacheOffset, 0);
}

TEST(BackTrace, ConfirmsAnAddressOfTheFunction) {
    const Word start = Word(g_processName) + 1;  // any symbol will do; start + 32 is the first step out of it
    const Word stack[] = {1, start + 33, start + 6, start + 32, 7, start, Word(&stack)};
    const Word sp = Word(stack);
    const Word fp = sp + 5 * kWord;
    const Word fps[] = {fp, fp, fp, fp, fp, fp, fp, 0, sp, fp + kWord, words - kWord};
    const Word sps[] = {fp + kWord, fp + kWord, fp + kWord, sp, sp + 3 * kWord, fp, kWord, sp, sp, sp, sp};
    const Word faults[] = {start, start + 32, start + 33, start - 1, 0, 0, 0, start, 1, start, start};
    const Word expected[] = {start, start + 32, 0, start + 6, start + 32, start, 0, 0, 0, 0, 0};
    for (size_t i = 0; i < std::size(fps); ++i) {
        EXPECT_EQ(ConfirmFaultInFrame(Words(fps[i]), Words(sps[i]), Place(faults[i])), expected[i]) << i;
    }
}

TEST(BackTrace, HandlersOfFatalSignals) {
    const auto fault = [] {
        EXPECT_TRUE(InitSigHandlers() == 0 && g_proccessId == getpid());
        for (const int sig : {4, 6, 7, 8, 11}) {
            struct sigaction action;
            sigaction(sig, nullptr, &action);
            EXPECT_TRUE(action.sa_sigaction == sigFatalHandler && sigisemptyset(&action.sa_mask));
            EXPECT_EQ(action.sa_flags & ~0x04000000, 0x18000004);  // that bit is the C library's own
        }
        stack_t stack;
        EXPECT_EQ(sigaltstack(nullptr, &stack) + stack.ss_flags, 0);
        EXPECT_TRUE(stack.ss_size == 12288 && Word(stack.ss_sp) == (Word(g_signalStack) + 3) / 4 * 4);
        EXPECT_EQ(g_processName, std::string(program_invocation_short_name).substr(0, 15));
        return HasFailure() ? 1 : kForeign > 0 ? SIGSEGV : (testSigFault(), 0);
    };
    const std::string comment = "TEST ONLY, dumping stack frames at this location";
    const std::string report = kForeign > 0 ? "" : assertion("false", "BackTrace.cpp (*)", comment);
    for (const unsigned mode : {~0U - DEBUG_GENERAL, 0U + DEBUG_GENERAL}) {
        gDebugMode = mode;
        std::string text = printedBy([&] { EXPECT_EQ(inChild(fault), SIGSEGV); }, stderr);
        takeFrames(text);
        text.resize(std::min(text.size(), text.find("\n===== Signal FAULT")));
        EXPECT_EQ(text, mode == DEBUG_GENERAL ? report + report : "");
    }
}

// NOLINTEND(performance-no-int-to-ptr)
}  // namespace
