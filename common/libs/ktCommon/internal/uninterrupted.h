// A system call made again for as long as a signal interrupts it.
#ifndef KT_INTERNAL_UNINTERRUPTED_H
#define KT_INTERNAL_UNINTERRUPTED_H

#include <cerrno>

#include "internal/private.h"

namespace kt {

// call: without arguments; its result is negative, and errno tells why, when it failed.
template <typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

}  // namespace kt

#endif
