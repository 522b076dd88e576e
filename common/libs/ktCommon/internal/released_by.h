// The deleter of a std::unique_ptr to what a C function releases.
#ifndef KT_INTERNAL_RELEASED_BY_H
#define KT_INTERNAL_RELEASED_BY_H

#include "internal/private.h"

namespace kt {

template <auto Release>
struct ReleasedBy {
    template <typename T>
    void operator()(T* resource) const {
        Release(resource);
    }
};

}  // namespace kt

#endif
