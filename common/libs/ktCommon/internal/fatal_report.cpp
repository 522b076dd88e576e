#include "internal/fatal_report.h"

#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <ctime>

#include "internal/errno_guard.h"
#include "internal/thread_id.h"

namespace kt::fatal {
namespace {

using Clock = std::chrono::steady_clock;

constexpr milliseconds kTick{20};
constexpr milliseconds kWholeLimit{2600};
// Longer than the reporter is given, which ends the process with its last words said.
constexpr milliseconds kWaitForReporter{2900};

// A demangler takes about 75 bytes of stack for each character of a name. Untouched pages cost no memory.
constexpr size_t kLargeStackSize = 0x80000;
constexpr size_t kSecondFaultStackSize = 0x4000;
constexpr size_t kPageSize = 4096;
alignas(kPageSize) char largeStack[kLargeStackSize];
alignas(16) char secondFaultStack[kSecondFaultStackSize];

std::atomic<pid_t> reporter;  // kernel thread id, 0: none
volatile sig_atomic_t firstSignal;
Clock::time_point wholeDeadline;
Step* volatile current;

// On the board two of them would not fit the entry stack beside the rest.
ucontext_t entryContext;
ucontext_t largeContext;

struct Call {
    void (*function)(void*);
    void* argument;
};
Call callOnLargeStack;

// The child of a fork has neither the reporter nor what it was doing.
void forget() {
    reporter = 0;
    current = nullptr;
}

[[maybe_unused]] const int registered = pthread_atfork(nullptr, nullptr, forget);

void unblock(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int sig : signals) {
        sigaddset(&set, sig);
    }
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

[[noreturn]] void waitForTheEnd() {
    const Clock::time_point deadline = Clock::now() + kWaitForReporter;
    while (Clock::now() < deadline) {
        const timespec nap = {0, 10'000'000};
        nanosleep(&nap, nullptr);
    }
    _exit(firstSignal);
}

// The handler runs on the stack of the step, and SIGALRM is not blocked in it, so it can be left by a jump.
[[noreturn]] void abandonStep() {
    if (current == nullptr) {
        _exit(firstSignal);
    }
    siglongjmp(current->wayOut, 1);
}

void checkLimits(int) {
    const ErrnoGuard errnoGuard;
    if (!isReporter()) {  // the timer belongs to the process, and the kernel prefers its main thread
        syscall(SYS_tgkill, getpid(), reporter.load(), SIGALRM);
        return;
    }
    const Clock::time_point now = Clock::now();
    if (now >= wholeDeadline) {
        _exit(firstSignal);
    }
    if (current != nullptr && now >= current->deadline) {
        abandonStep();
    }
}

void startLimits() {
    wholeDeadline = Clock::now() + kWholeLimit;
    struct sigaction action = {};
    action.sa_handler = checkLimits;
    action.sa_flags = SA_NODEFER | SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    constexpr timeval kInterval = {0, std::chrono::microseconds(kTick).count()};
    constexpr itimerval kTimer = {kInterval, kInterval};
    setitimer(ITIMER_REAL, &kTimer, nullptr);
}

void runOnLargeStack() {
    stack_t ours = {};
    ours.ss_sp = secondFaultStack;
    ours.ss_size = sizeof secondFaultStack;
    stack_t previous = {};
    sigaltstack(&ours, &previous);
    callOnLargeStack.function(callOnLargeStack.argument);
    sigaltstack(&previous, nullptr);
}

}  // namespace

void prepare() {
    mprotect(largeStack, kPageSize, PROT_NONE);
}

void begin(int sig) {
    pid_t expected = 0;
    const pid_t self = currentThreadId().thread;
    if (!reporter.compare_exchange_strong(expected, self) && expected != self) {
        waitForTheEnd();
    }
    // The kernel ends a process whose blocked signal is needed for a fault.
    unblock({SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGALRM});
    if (expected == self) {
        abandonStep();
    }
    firstSignal = sig;
    startLimits();
}

bool isReporter() {
    return reporter.load(std::memory_order_relaxed) != 0 && reporter == currentThreadId().thread;
}

void giveWay() {
    if (reporter.load(std::memory_order_relaxed) != 0 && !isReporter()) {
        waitForTheEnd();
    }
}

void onLargeStack(void (*call)(void*), void* argument) {
    if (!isReporter() || getcontext(&largeContext) != 0) {
        call(argument);
        return;
    }
    callOnLargeStack = {call, argument};
    largeContext.uc_stack.ss_sp = largeStack;
    largeContext.uc_stack.ss_size = sizeof largeStack;
    largeContext.uc_link = &entryContext;
    makecontext(&largeContext, runOnLargeStack, 0);
    swapcontext(&entryContext, &largeContext);
}

void end(int sig) {
    onLargeStack([sig] { attempt(kWholeLimit, [sig] { exit(sig); }); });
    _exit(sig);
}

void Step::begin(milliseconds limit) {
    if (!isReporter()) {
        return;
    }
    outer = current;
    deadline = std::min(Clock::now() + limit, outer == nullptr ? wholeDeadline : outer->deadline);
    current = this;
}

void Step::end() {
    if (current == this) {
        current = outer;
    }
}

bool attempt(milliseconds limit, void (*call)(void*), void* argument) {
    Step step;
    if (sigsetjmp(step.wayOut, 0) != 0) {
        step.end();
        return false;
    }
    step.begin(limit);
    call(argument);
    step.end();
    return true;
}

}  // namespace kt::fatal
