// Private to the siblings: scope guards that keep a call unnoticed by its caller.
#pragma once

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace kt::siblings {

// Keeps the caller's errno and holds back thread cancellation while the scope lasts. Takes no lock and
// allocates nothing, so it also serves in signal handlers.
class CallGuard {
  public:
    CallGuard() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState_); }
    ~CallGuard() {
        pthread_setcancelstate(cancelState_, nullptr);
        errno = error_;
    }
    CallGuard(const CallGuard&) = delete;
    CallGuard& operator=(const CallGuard&) = delete;

  private:
    int error_ = errno;
    int cancelState_ = PTHREAD_CANCEL_ENABLE;
};

// Closing is a cancellation point, and a thread that unwinds out of a destructor ends the process.
inline int closeDescriptor(int descriptor) {
    int cancelState = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
    const int result = close(descriptor);
    pthread_setcancelstate(cancelState, nullptr);
    return result;
}

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    ~Descriptor() {
        if (number_ >= 0) {
            closeDescriptor(number_);
        }
    }
    Descriptor& operator=(Descriptor&&) = delete;

    bool valid() const { return number_ >= 0; }
    int get() const { return number_; }
    int release() { return std::exchange(number_, -1); }

  private:
    int number_;
};

}  // namespace kt::siblings
