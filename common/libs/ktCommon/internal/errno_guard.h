// Keeps errno for the caller across a service that he does not call for its own sake.
#ifndef KT_INTERNAL_ERRNO_GUARD_H
#define KT_INTERNAL_ERRNO_GUARD_H

#include <cerrno>

#include "internal/private.h"

namespace kt {

class ErrnoGuard {
  public:
    ErrnoGuard() : saved_(errno) {}
    ~ErrnoGuard() { errno = saved_; }
    ErrnoGuard(const ErrnoGuard&) = delete;
    ErrnoGuard& operator=(const ErrnoGuard&) = delete;

  private:
    int saved_;
};

}  // namespace kt

#endif
