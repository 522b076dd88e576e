// Dies as it is told: fault_victim FAULT PLACE WORDS, FAULT and PLACE being functions of its own by their
// symbols. With the word "storm" other threads allocate meanwhile; other words name functions that from the fault on
// hang, also with all signals blocked ("*" behind), fault themselves ("!"), or fail an assertion ("?"). A byte on
// descriptor 3 tells that the fault comes now.
#include <dlfcn.h>
#include <ktcommon.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>

#define SHOWN [[gnu::noipa]]  // in frames; ends with a use of `result`, so that no call before is a jump
#define FAULT(name, expression) \
    SHOWN void name() { result = expression; }

volatile int result;
volatile int zero;
const int* volatile nowhere;
int (*volatile nothing)();

FAULT(readNull, *nowhere)

namespace {

const char* words;
void (*fault)();
std::atomic<bool> isArmed;
std::atomic<bool> isHanging;
std::mutex held;  // a function hangs because the fault came while its lock was held

void step(const char* name) {
    const char* const word = isArmed ? strstr(words, name) : nullptr;
    const char how = word != nullptr ? word[strlen(name)] : '\0';
    if (how == '!') {
        readNull();
    } else if (how == '?') {
        AssertBackTrace("false", nullptr, 1, nullptr);
    } else if (how == '*') {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, nullptr);
    }
    while (word != nullptr && how != '?') {
        held.try_lock();
        isHanging = true;
        held.lock();
    }
}

auto function(const char* symbol) { return reinterpret_cast<void (*)()>(dlsym(RTLD_DEFAULT, symbol)); }

}  // namespace

// A function of the libraries that this program's own stands before.
#define STEP(type, name, parameters, arguments)                                                \
    extern "C" type name parameters {                                                          \
        static const auto next = reinterpret_cast<decltype(&(name))>(dlsym(RTLD_NEXT, #name)); \
        step(#name);                                                                           \
        return next arguments;                                                                 \
    }
STEP(void*, malloc, (size_t size), (size))
STEP(void*, realloc, (void* block, size_t size), (block, size))
STEP(int, dladdr, (const void* address, Dl_info* info), (address, info))
STEP(tm*, localtime_r, (const time_t* time, tm* local), (time, local))
STEP(char*, __cxa_demangle, (const char* name, char* text, size_t* n, int* status), (name, text, n, status))
STEP(void, logStackTrace, (const char* text), (text))

FAULT(callAbort, (abort(), 0))
FAULT(runIllegal, (__builtin_trap(), 0))
FAULT(readBehindFile, *static_cast<volatile unsigned char*>(mmap(nullptr, 1, PROT_READ, MAP_SHARED,
                                                                 memfd_create("empty", MFD_CLOEXEC), 0)))
FAULT(callNull, nothing())
FAULT(failAssertion, AssertBackTrace("false", nullptr, 1, nullptr))

SHOWN void divideByZero() {
#ifdef __arm__
    raise(SIGFPE);  // what a division calls that finds no divisor
#endif
    result = getpid() / zero;
}

SHOWN int overflow() {
    volatile int frame[500] = {1};
    return result < 0 ? 0 : overflow() + frame[0];
}

SHOWN int fieldOf(const int* field) { return *field; }

FAULT(askNull, fieldOf(nowhere))

SHOWN void callData() {
    static int data[] = {0, 0};
    result = reinterpret_cast<int (*)()>(data)();
}

SHOWN void smashStack() {
    memset(__builtin_frame_address(0), 0x55, 100);
    readNull();
    result = 0;
}

// The text is left for exit to write, which is where a thread can be cancelled.
SHOWN void faultCancelled() {
    printf("left");
    pthread_cancel(pthread_self());
    readNull();
    result = 0;
}

SHOWN void allocate() {
    for (unsigned size = 1;; size = size * 1103515245 + 12345) {
        void* volatile block = malloc(1 + (size >> 15));
        free(block);
    }
}

template <class Numbers>
SHOWN void named() {
    readNull();
    result = 0;
}
template void named<std::make_integer_sequence<int, 6>>();
template void named<std::make_integer_sequence<int, 20>>();
template void named<std::make_integer_sequence<int, 47>>();
template void named<std::make_integer_sequence<int, 153>>();

SHOWN void inMain() {
    isArmed = true;
    result = write(3, "!", 1) == 1;
    fault();
    result = 0;
}

void inWorker() { std::thread(inMain).detach(); }

void inPort() { std::thread(debugCommand_t, nullptr).detach(); }

// What the debug port's thread asks first.
extern "C" int socketGetDebugPortByName(const char*) {
    inMain();
    return -1;
}

void inEight() {
    static std::atomic<int> missing = 8;
    for (int i = 0; i < 8; ++i) {
        std::thread([] {
            for (--missing; missing != 0;) {}
            inMain();
        }).detach();
    }
}

void inChild() {
    if (fork() == 0) { inMain(); }
    int status = 0;
    wait(&status);
    _exit(WEXITSTATUS(status));
}

void besideAssertion() {
    isArmed = true;
    std::thread(failAssertion).detach();
    while (!isHanging) {}
    inMain();
}

int main(int, char** arguments) {
    fault = function(arguments[1]);
    words = arguments[3];
    atexit([] { step("exit"); });
    InitSigHandlers();
    mallopt(M_ARENA_MAX, 1);
    for (int i = 0; strstr(words, "storm") != nullptr && i < 2; ++i) { std::thread(allocate).detach(); }
    function(arguments[2])();
    pause();  // which nothing that another thread's report needs may interrupt
}
