// An alternate signal stack of the calling thread's own, so that its stack overflow is reported, too. Every
// thread that the library starts has one.
#ifndef KT_INTERNAL_SIGNAL_STACK_H
#define KT_INTERNAL_SIGNAL_STACK_H

#include <signal.h>

#include <cstddef>

#include "internal/private.h"

namespace kt {

// Installed while it lives; afterwards the thread has the one it had before. Without memory the thread goes
// on without. To be made and ended in one thread.
class SignalStack {
  public:
    SignalStack();
    ~SignalStack();
    SignalStack(const SignalStack&) = delete;
    SignalStack& operator=(const SignalStack&) = delete;

  private:
    void* mapping_;
    size_t size_;
    stack_t previous_ = {};
};

}  // namespace kt

#endif
