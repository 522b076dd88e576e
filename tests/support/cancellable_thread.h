// Threads under test: their cancellation, and the wait for what they do.
#ifndef KT_TESTS_SUPPORT_CANCELLABLE_THREAD_H
#define KT_TESTS_SUPPORT_CANCELLABLE_THREAD_H

#include <pthread.h>

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
    while (!holds()) {
        std::this_thread::yield();
    }
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
