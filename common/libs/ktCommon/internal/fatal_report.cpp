#include "internal/fatal_report.h"

#include <pthread.h>
#include <sched.h>
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
// Of others than the reporter; longer than it is given.
constexpr milliseconds kWaitForReporter{2900};

// A demangler takes about 75 bytes of stack for each character of a name. Untouched pages cost no memory.
constexpr size_t kLargeStackSize = 0x80000;
constexpr size_t kSecondFaultStackSize = 0x4000;
constexpr size_t kWatchdogStackSize = 0x2000;
// Mapped: a guard page in the library's data would be in the way of a leak checker, which reads all of it.
char* largeStack;
alignas(16) char secondFaultStack[kSecondFaultStackSize];
alignas(16) char watchdogStack[kWatchdogStackSize];

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
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
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
    if (!isReporter()) {  // the interval timer's, which is the process's
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

// Only system calls: what the C library keeps for a thread is the reporter's here.
int watch(void*) {
    const struct { long seconds, nanoseconds; } tick = {0, std::chrono::nanoseconds(kTick).count()};
    while (Clock::now() < wholeDeadline) {
        syscall(SYS_nanosleep, &tick, nullptr);
        syscall(SYS_tgkill, getpid(), reporter.load(), SIGALRM);
    }
    syscall(SYS_exit_group, firstSignal);
    return 0;
}

// Signals of the process are not for the watchdog: their handlers would run on its small stack.
bool startWatchdog() {
    constexpr int kThread = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD | CLONE_SYSVSEM;
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    const int thread = clone(watch, watchdogStack + sizeof watchdogStack, kThread, nullptr);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return thread != -1;
}

void startLimits() {
    wholeDeadline = Clock::now() + kWholeLimit;
    struct sigaction action = {};
    action.sa_handler = checkLimits;
    action.sa_flags = SA_NODEFER | SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    if (!startWatchdog()) {  // no more threads; blocked signals defeat this one
        constexpr timeval kInterval = {0, std::chrono::microseconds(kTick).count()};
        constexpr itimerval kTimer = {kInterval, kInterval};
        setitimer(ITIMER_REAL, &kTimer, nullptr);
    }
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
    if (largeStack != nullptr) {
        return;
    }
    const auto guard = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* mapping = mmap(nullptr, guard + kLargeStackSize, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (mapping != MAP_FAILED) {
        mprotect(mapping, guard, PROT_NONE);
        largeStack = static_cast<char*>(mapping) + guard;
    }
}

void begin(int sig) {
    pid_t expected = 0;
    const pid_t self = currentThreadId().thread;
    const bool isFirst = reporter.compare_exchange_strong(expected, self);
    if (!isFirst && expected != self) {
        waitForTheEnd();
    }
    if (isFirst) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);  // for good: exit has cancellation points
        firstSignal = sig;
        startLimits();
    }
    // The kernel ends a process whose blocked signal is needed for a fault.
    unblock({SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGALRM});
    if (!isFirst) {
        abandonStep();
    }
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
    if (!isReporter() || largeStack == nullptr || getcontext(&largeContext) != 0) {
        call(argument);
        return;
    }
    callOnLargeStack = {call, argument};
    largeContext.uc_stack.ss_sp = largeStack;
    largeContext.uc_stack.ss_size = kLargeStackSize;
    largeContext.uc_link = &entryContext;
    makecontext(&largeContext, runOnLargeStack, 0);
    swapcontext(&entryContext, &largeContext);
}

milliseconds timeLeft() {
    return std::chrono::duration_cast<milliseconds>(wholeDeadline - Clock::now());
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
    std::atomic_signal_fence(std::memory_order_release);
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
