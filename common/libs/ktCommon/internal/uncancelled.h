// Holds cancellation of the calling thread back while it lives.
#ifndef KT_INTERNAL_UNCANCELLED_H
#define KT_INTERNAL_UNCANCELLED_H

#include <pthread.h>

#include "internal/private.h"

namespace kt {

class Uncancelled {
  public:
    Uncancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous_); }
    ~Uncancelled() { pthread_setcancelstate(previous_, nullptr); }
    Uncancelled(const Uncancelled&) = delete;
    Uncancelled& operator=(const Uncancelled&) = delete;

  private:
    int previous_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace kt

#endif
