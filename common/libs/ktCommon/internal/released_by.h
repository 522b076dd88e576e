// The owner of what a C function releases.
#ifndef KT_INTERNAL_RELEASED_BY_H
#define KT_INTERNAL_RELEASED_BY_H

#include <memory>

#include "internal/private.h"

namespace kt {

template <auto Release>
struct ReleasedBy {
    template <typename T>
    void operator()(T* resource) const {
        Release(resource);
    }
};

template <typename T, auto Release>
using Owned = std::unique_ptr<T, ReleasedBy<Release>>;

}  // namespace kt

#endif
