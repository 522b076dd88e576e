// Text from the C allocator that frees itself unless it is released to a C caller.
#ifndef KT_INTERNAL_HEAP_TEXT_H
#define KT_INTERNAL_HEAP_TEXT_H

#include <cstdlib>

#include "internal/private.h"
#include "internal/released_by.h"

namespace kt {

using HeapText = Owned<char, free>;

// Empty without memory.
inline const char* textOf(const HeapText& text) {
    return text == nullptr ? "" : text.get();
}

}  // namespace kt

#endif
