#include "diag/BackTrace.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "diag/debug.h"
#include "frame/process.h"
#include "internal/broken_pipe.h"
#include "internal/debug_assertion.h"
#include "internal/errno_guard.h"
#include "internal/fatal_report.h"
#include "internal/fault_registers.h"
#include "internal/fault_texts.h"
#include "internal/released_by.h"
#include "internal/report_lock.h"
#include "internal/report_writer.h"
#include "internal/stack_word.h"
#include "internal/symbol.h"
#include "internal/uncancelled.h"
#include "logging.h"
#include "time/timestamp.h"

char cacheBuffer[0x20000];
int cacheOffset;
char g_signalStack[12292];

namespace {

using std::chrono::milliseconds;

using Word = unsigned long;

Word addressOf(const void* place) {
    return reinterpret_cast<Word>(place);
}

// Addresses come out of registers and stack words.
Word* placeAt(Word address) {
    return reinterpret_cast<Word*>(address);  // NOLINT(performance-no-int-to-ptr)
}

constexpr size_t kSignalStackSize = 12288;
constexpr int kMaxFrames = 64;

// The limits of the steps of a fault report, which together with those of names and symbols end it in time,
// whatever hangs. The cache may have to be flushed twice.
constexpr milliseconds kWriteLimit{300};
constexpr milliseconds kLogLimit{250};
constexpr milliseconds kTimeLimit{150};
constexpr milliseconds kUnwindLimit{250};
constexpr milliseconds kLeftForExit{150};

// For the child of a fork: a report in the making is the parent's.
void forgetReport() {
    if (kt::ReportLock::reset()) {
        memset(cacheBuffer, 0, sizeof cacheBuffer);
        cacheOffset = 0;
    }
}

[[maybe_unused]] const int registered = pthread_atfork(nullptr, nullptr, forgetReport);

// What comes in the way of a wild store must not keep the report of it from coming out.
size_t cachedLength() {
    if (cacheOffset < 0 || static_cast<size_t>(cacheOffset) >= sizeof cacheBuffer) {
        cacheOffset = 0;
    }
    return static_cast<size_t>(cacheOffset);
}

// The log timestamp; the seconds of the epoch when the C library's time zone lock is not to be had.
const char* reportTime() {
    const char* stamp = nullptr;
    if (!kt::fatal::attempt(kTimeLimit, [&stamp] { stamp = getLogTimestamp(nullptr); })) {
        static char seconds[24];
        snprintf(seconds, sizeof seconds, "%lld", static_cast<long long>(time(nullptr)));
        stamp = seconds;
    }
    return stamp;
}

// Lists the stack words from index `first` down to `last`, counted from fp.
void listStackWords(Word** fp, Word** sp, int first, int last) {
    Word address = addressOf(fp) + static_cast<Word>(first) * sizeof(Word);
    for (int index = first; index >= last; --index, address -= sizeof(Word)) {
        Word word = 0;
        if (!kt::readStackWord(address, word)) {
            return;
        }
        const char* const suffix = address == addressOf(fp)   ? " <----- Frame start"
                                   : address == addressOf(sp) ? " <----- Current stack pointer"
                                                              : "";
        LogCache("0x%lx ", address);
        capture_symbol(placeAt(word), "deref: ", index, suffix);
    }
}

// `searched` is where the symbol is looked for, at or before the address.
void logSymbol(Word address, Word searched, const char* prefix, int index, const char* suffix) {
    const kt::Symbol symbol(searched);
    if (symbol) {
        LogCache("%s%3d: [0x%08lx] ( %s + 0x%lx ) @ %s %s\n", prefix, index, address, symbol.name(),
                 address - symbol.start(), symbol.object(), suffix);
    } else {
        LogCache("%s%3d: [0x%08lx] %s\n", prefix, index, address, suffix);
    }
}

// Lists the frames from `first` on. Those from `firstReturn` on are return addresses, whose symbol is looked
// for within the call: behind the call of a function that does not return, such as abort, another function
// begins.
void listFrames(Word** frames, int count, int first, int firstReturn) {
    constexpr Word kIntoCall = 2;
    for (int i = first; i < count; ++i) {
        const Word address = addressOf(frames[i]);
        logSymbol(address, i < firstReturn ? address : address - kIntoCall, "Frame: ", count - i, "");
    }
}

struct Fault {
    int sig;
    siginfo_t info;
    sigcontext* registers;
    unsigned long** workingFp;
};

void logFault(const Fault& fault) {
    const kt::SignalText text = kt::signalText(fault.sig);
    char errorText[128];
    kt::putErrorText(fault.info.si_errno, errorText, sizeof errorText);
    LogCache("\n===== Signal FAULT ===== %s ===== Signal FAULT =====\n\n", reportTime());
    LogCache(
        "Caught signal %d (%s) %s\n"
        "Error: (%d) \"%s\"\n"
        "Reason: (%d) \"%s\"\n"
        "Process: (%d) \"%s\"\n",
        fault.sig, text.name, text.description, fault.info.si_errno, errorText, fault.info.si_code,
        kt::signalReason(fault.sig, fault.info.si_code), g_proccessId, g_processName);

    const kt::FaultRegisters registers = kt::faultRegisters(*fault.registers);
    DumpArmFaultContext(fault.registers, fault.workingFp);
    DumpFaultFrame(reinterpret_cast<Word**>(placeAt(registers.fp)),
                   reinterpret_cast<Word**>(placeAt(registers.sp)));
}

// Of the frames of a handler: SignalBackTrace, sigFatalHandler, and what that returns to.
constexpr int kReportAndCaller = 2;
constexpr int kReportToTrampoline = 3;

// Puts in the frame of the interrupted instruction where the unwinder knows none.
// Returns the number of frames.
int addInterrupted(Word** frames, int count, Word* pc) {
    Word** const end = frames + count;
    if (!kt::fatal::isReporter() || count < kReportToTrampoline || count == kMaxFrames ||
        std::find(frames, end, pc) != end) {
        return count;
    }
    std::copy_backward(frames + kReportToTrampoline, end, end + 1);
    frames[kReportToTrampoline] = pc;
    return count + 1;
}

void logFaultFrames(Word** frames, int count) {
    constexpr int kTrampolineAndInterrupted = 2;
    if (count > 0) {
        LogCache("\nStack backtrace:\n");
    }
    const int notReturns = kt::fatal::isReporter() ? kTrampolineAndInterrupted : 0;
    listFrames(frames, count, kReportAndCaller, kReportAndCaller + notReturns);
}

bool isCode(Word pc, const siginfo_t& info) {
    Word word = 0;
    const bool isFetchRefused = info.si_code > 0 && (info.si_signo == SIGSEGV || info.si_signo == SIGBUS) &&
                                addressOf(info.si_addr) == pc;
    return !isFetchRefused && kt::readStackWord(pc, word);
}

// Whether the signal tells of something that has gone wrong in this thread: a fault, or abort.
bool isOwnFault(const siginfo_t* info) {
    return info == nullptr || info->si_code > 0 || (info->si_code == SI_TKILL && info->si_pid == getpid());
}

// The first use of a service may load a library, allocate, or wait for a lock.
void useWhatReportsNeed() {
    void* frame = nullptr;
    backtrace(&frame, 1);
    getLogTimestamp(nullptr);
    Dl_info info;
    dladdr(reinterpret_cast<void*>(&InitSigHandlers), &info);
    kt::fatal::prepare();
}

void installSignalStack() {
    constexpr Word kAlignment = 4;
    stack_t stack = {};
    stack.ss_sp = g_signalStack + (kAlignment - addressOf(g_signalStack) % kAlignment) % kAlignment;
    stack.ss_size = kSignalStackSize;
    sigaltstack(&stack, nullptr);
}

}  // namespace

int InitSigHandlers(void) {
    g_proccessId = getpid();
    getProcessName(g_proccessId, g_processName, sizeof g_processName);
    useWhatReportsNeed();
    installSignalStack();

    struct sigaction action = {};
    action.sa_sigaction = sigFatalHandler;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    sigemptyset(&action.sa_mask);
    int result = 0;
    for (const int sig : {SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGFPE}) {
        result = sigaction(sig, &action, nullptr);
    }
    return result;
}

void sigFatalHandler(int sig, siginfo_t* info, void* context) {
    if (kt::fatal::isReporter() && !isOwnFault(info)) {
        return;
    }
    kt::fatal::begin(sig);
    SignalBackTrace(sig, info, static_cast<ucontext_t*>(context));
    kt::fatal::end(sig);
}

__attribute__((noinline)) void SignalBackTrace(int sig, siginfo_t* info, ucontext_t* context) {
    Word* frames[kMaxFrames] = {};
    const kt::Uncancelled uncancelled;
    const kt::ReportLock lock;
    kt::fatal::onLargeStack([] { FlushCache(); });
    if (context == nullptr) {
        return;
    }
    auto* const registers = reinterpret_cast<sigcontext*>(&context->uc_mcontext);
    Fault fault = {sig, {}, registers, static_cast<Word**>(__builtin_frame_address(0))};
    if (info != nullptr) {
        fault.info = *info;
    }

    const sigcontext interrupted = *registers;
    const Word pc = kt::faultRegisters(interrupted).pc;
    Word** end = frames;
    volatile bool trustsPc = isCode(pc, fault.info);
    for (volatile bool goesOn = true; goesOn;) {
        const Word unwoundPc = kt::makeUnwindable(*registers, trustsPc);
        // Called from here and not within an attempt: the frames to leave out are counted.
        kt::fatal::Step unwinding;
        if (sigsetjmp(unwinding.wayOut, 0) == 0) {
            unwinding.begin(kUnwindLimit);
            backtrace(reinterpret_cast<void**>(frames), kMaxFrames);
        }
        unwinding.end();
        *registers = interrupted;
        // On a damaged stack backtrace is broken off; what it had found until then is stored.
        end = std::find(frames, frames + kMaxFrames, nullptr);
        std::replace(frames, end, placeAt(unwoundPc), placeAt(pc));
        // Not one frame of the fault: a function of assembler without unwind tables. It seldom calls another.
        goesOn = trustsPc && end == frames + kReportToTrampoline;
        trustsPc = false;
    }
    const int count = addInterrupted(frames, static_cast<int>(end - frames), placeAt(pc));

    kt::fatal::onLargeStack([&fault, &frames, count] {
        kt::fatal::attempt(kt::fatal::timeLeft() - kWriteLimit - kLogLimit - kLeftForExit, [&] {
            logFault(fault);
            logFaultFrames(frames, count);
            LogCache("=========================================================================\n\n");
        });
        FlushCache();
    });
}

__attribute__((noinline)) int AssertBackTrace(const char* expression, const char* file, int line,
                                              const char* comment) {
    const kt::ErrnoGuard errnoGuard;
    const kt::Uncancelled uncancelled;
    const kt::ReportLock lock;
    if (lock.isNested()) {
        return 0;
    }
    LogCache("\n~~~~~~~ BackTrace ASSERT ~~~~ %s ~~~~\n\n", reportTime());
    LogCache("  Failed expression: (%s) @ %s (line: %d)\n  Comment: \"%s\"\n",
             expression == nullptr ? "" : expression, file == nullptr ? "unknown" : file, line,
             comment == nullptr ? "" : comment);
    unsigned long* frames[kMaxFrames] = {};
    const int count = backtrace(reinterpret_cast<void**>(frames), kMaxFrames);
    if (count > 0) {
        LogCache("Stack backtrace:\n");
    }
    listFrames(frames, count, 1, 1);
    LogCache("~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~\n\n");
    FlushCache();
    return count;
}

void kt::reportFailedAssertion(const char* expression, int line, const char* comment) {
    if ((_debugGetMode() & DEBUG_GENERAL) != 0) {
        AssertBackTrace(expression, "ktcommon.cpp", line, comment);
    }
}

int LogCache(const char* format, ...) {
    kt::fatal::giveWay();
    const size_t used = cachedLength();
    const size_t room = sizeof cacheBuffer - used;
    char* const end = cacheBuffer + used;
    va_list ap;
    va_start(ap, format);
    const int length = vsnprintf(end, room, format, ap);
    va_end(ap);
    if (length < 0) {
        memset(end, 0, room);
        return 0;
    }
    cacheOffset += static_cast<int>(std::min(static_cast<size_t>(length), room - 1));
    return 1;
}

void FlushCache() {
    const size_t length = cachedLength();
    if (length == 0) {
        return;
    }
    const kt::Uncancelled uncancelled;
    const kt::BrokenPipeIgnored brokenPipeIgnored;
    cacheBuffer[length] = '\0';  // a fault may have broken LogCache off
    kt::fatal::attempt(kWriteLimit,
                       [length] { kt::writeReport(STDERR_FILENO, cacheBuffer, length, kWriteLimit); });
    kt::fatal::giveWay();
    kt::fatal::attempt(kLogLimit, [] { logStackTrace(cacheBuffer); });
    kt::fatal::giveWay();
    memset(cacheBuffer, 0, length);  // behind the text it is zero
    cacheOffset = 0;
}

void capture_symbol(unsigned long* address, const char* prefix, int index, const char* suffix) {
    logSymbol(addressOf(address), addressOf(address), prefix, index, suffix);
}

int DumpArmFaultContext(sigcontext* context, unsigned long** workingFp) {
    if (context == nullptr) {
        return 0;
    }
    const kt::FaultRegisters x = kt::faultRegisters(*context);
    return LogCache(
        "\n"
        "SIGNAL CONTEXT:\n"
        "    trap : 0x%08lx, error: 0x%08lx, oldmsk: 0x%08lx\n"
        "       r0: 0x%08lx,    r1: 0x%08lx,     r2: 0x%08lx\n"
        "       r3: 0x%08lx,    r4: 0x%08lx,     r5: 0x%08lx\n"
        "       r6: 0x%08lx,    r7: 0x%08lx,     r8: 0x%08lx\n"
        "       r9: 0x%08lx,   r10: 0x%08lx\n"
        "       fp: 0x%08lx,    ip: 0x%08lx,     sp: 0x%08lx\n"
        "       lr: 0x%08lx,    pc: 0x%08lx,   cpsr: 0x%08lx\n"
        "    fault: 0x%08lx\n"
        "    Working fp: 0x%08lx\n",
        x.trapNumber, x.errorCode, x.oldMask, x.r[0], x.r[1], x.r[2], x.r[3], x.r[4], x.r[5], x.r[6], x.r[7],
        x.r[8], x.r[9], x.r[10], x.fp, x.ip, x.sp, x.lr, x.pc, x.cpsr, x.faultAddress, addressOf(workingFp));
}

int DumpFaultFrame(unsigned long** fp, unsigned long** sp) {
    constexpr long kWord = sizeof(unsigned long);
    constexpr int kWordShift = kWord == 4 ? 2 : 3;
    constexpr long kMostWords = 100;
    const auto distance = static_cast<long>(addressOf(fp) - addressOf(sp));
    const bool meetsSp = distance >= 0 && distance % kWord == 0;
    const long words = distance >> kWordShift;  // rounds toward minus infinity
    const long limit = distance > (kMostWords - 1) * kWord ? -kMostWords : -words - 1;
    LogCache("\nFault frame:\n");
    if (limit <= 0) {
        listStackWords(fp, sp, 0, static_cast<int>(meetsSp ? std::max(limit, -words) : limit));
    }
    return LogCache("\n");
}

void dump_frame_in_vicinity_of(unsigned long** fp, unsigned long** sp, int range) {
    const kt::Uncancelled uncancelled;
    const kt::ReportLock lock;
    LogCache("\n *** dump_frame_in_vicinity_of( fp: 0x%lx, sp: 0x%lx, range: %d ) ***\n", addressOf(fp),
             addressOf(sp), range);
    if (range >= 0) {
        listStackWords(fp, sp, range, -range);
    }
    LogCache(" *** End dump_frame_in_vicinity_of() ***\n\n");
    FlushCache();
}

int CaptureBacktrace(unsigned long** frames, int max) {
    return backtrace(reinterpret_cast<void**>(frames), max);
}

int CaptureBacktraceInternal(unsigned long** fp, unsigned long** sp, unsigned long skip, unsigned long** out,
                             int max) {
    if (fp == nullptr) {
        return 0;
    }
    LogCache("  fp: 0x%lx  sp: 0x%lx\n\n", addressOf(fp), addressOf(sp));
    constexpr Word kReturnAddress = 1 * sizeof(Word);  // before the record's address
    constexpr Word kCallersRecord = 3 * sizeof(Word);
    const Word first = addressOf(fp) - skip * sizeof(Word);
    Word record = 0;
    Word returnAddress = 0;
    if (first == 0 || !kt::readStackWord(first, record)) {
        return 0;
    }
    if (record == 0) {  // the outermost function has made none
        if (!kt::readStackWord(first + 2 * sizeof(Word), returnAddress)) {
            return 0;
        }
        out[0] = placeAt(returnAddress);
        return 1;
    }
    int count = 0;
    // A record that would begin at address 0 ends the chain as well.
    while (record != kCallersRecord && kt::readStackWord(record - kReturnAddress, returnAddress)) {
        out[count++] = placeAt(returnAddress);
        if (count >= max || !kt::readStackWord(record - kCallersRecord, record) || record == 0) {
            break;
        }
    }
    return count;
}

unsigned long ConfirmFaultInFrame(unsigned long** fp, unsigned long** sp, unsigned long* faultAddress) {
    constexpr Word kInstruction = 4;
    Word start = 0;
    Dl_info function = {};
    if (fp == nullptr || !kt::readStackWord(addressOf(fp), start) || dladdr(placeAt(start), &function) == 0 ||
        function.dli_saddr == nullptr) {
        return 0;
    }
    Word end = start;
    for (Dl_info here = function; here.dli_saddr == function.dli_saddr;) {
        end += kInstruction;
        here = {};
        dladdr(placeAt(end), &here);
    }
    const Word fault = addressOf(faultAddress);
    if (start <= fault && fault <= end) {
        return fault;
    }
    Word word = 0;
    const Word first = (addressOf(sp) + sizeof word - 1) / sizeof word * sizeof word;
    for (Word place = first; place <= addressOf(fp) && kt::readStackWord(place, word); place += sizeof word) {
        if (start <= word && word <= end) {
            return word;
        }
    }
    return 0;
}

void print_trace() {
    constexpr int kMost = 10;
    void* frames[kMost];
    const int count = backtrace(frames, kMost);
    const kt::Owned<char*, free> texts(backtrace_symbols(frames, count));
    printf("Obtained %zd stack frames.\n", static_cast<ssize_t>(count));
    for (int i = 0; texts != nullptr && i < count; ++i) {
        puts(texts.get()[i]);
    }
}

void testSigFault(void) {
    constexpr char kComment[] = "TEST ONLY, dumping stack frames at this location";
    if ((_debugGetMode() & DEBUG_GENERAL) != 0) {
        AssertBackTrace("false", "BackTrace.cpp", __LINE__, kComment);
    }
    if ((_debugGetMode() & DEBUG_GENERAL) != 0) {
        AssertBackTrace("false", "BackTrace.cpp", __LINE__, kComment);
    }
    // Otherwise the compiler could see that there is nothing to read.
    const volatile int* volatile nowhere = nullptr;
    for (;;) {
        static_cast<void>(*nowhere);  // NOLINT(clang-analyzer-core.NullDereference)
    }
}
