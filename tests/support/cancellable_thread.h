// Threads under test: their cancellation, signals to them, and the wait for what they do.
#ifndef KT_TESTS_SUPPORT_CANCELLABLE_THREAD_H
#define KT_TESTS_SUPPORT_CANCELLABLE_THREAD_H

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <thread>

// AddressSanitizer does not follow the unwinding of a cancellation. With frames away from the stack it leaves
// no marks of them there.
extern "C" __attribute__((visibility("default"), used)) inline const char* __asan_default_options() {
    return "detect_stack_use_after_return=1";
}

namespace kt::test {

// For what another thread is about to do; a wait in vain ends by the run's limit.
template <typename Condition>
void until(Condition holds) {
    while (!holds()) { std::this_thread::yield(); }
}

// Sends signals that do nothing but end the thread's system call, the next one when the last has been handled.
inline void interrupt(pthread_t thread, int times) {
    static std::atomic<int> left;
    struct sigaction counting = {};
    counting.sa_handler = [](int) { --left; };
    sigaction(SIGUSR1, &counting, nullptr);
    for (left = times; times > 0; --times) {
        pthread_kill(thread, SIGUSR1);
        until([times] { return left < times; });
    }
}

inline bool hasSignalStack() {
    stack_t stack = {};
    return sigaltstack(nullptr, &stack) == 0 && stack.ss_flags != SS_DISABLE;
}

class CancellableThread {
  public:
    template <typename Body>
    explicit CancellableThread(Body body)
        : thread_([this, body] {
              body();
              isFinished_ = true;
          }) {}
    void cancel() { pthread_cancel(thread_.native_handle()); }
    // Whether the body came to its end.
    bool join() {
        thread_.join();
        return isFinished_;
    }

  private:
    bool isFinished_ = false;
    std::thread thread_;
};

}  // namespace kt::test

#endif
