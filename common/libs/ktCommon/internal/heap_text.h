// Text from the C allocator that frees itself unless it is released to a C caller.
#ifndef KT_INTERNAL_HEAP_TEXT_H
#define KT_INTERNAL_HEAP_TEXT_H

#include <cstdlib>
#include <memory>

#include "internal/private.h"

namespace kt {

struct FreeDeleter {
    void operator()(void* block) const { free(block); }
};

using HeapText = std::unique_ptr<char, FreeDeleter>;

}  // namespace kt

#endif
