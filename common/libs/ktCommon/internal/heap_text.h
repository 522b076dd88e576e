// Text from the C allocator that frees itself unless it is released to a C caller.
#ifndef KT_INTERNAL_HEAP_TEXT_H
#define KT_INTERNAL_HEAP_TEXT_H

#include <cstdlib>
#include <memory>

#include "internal/private.h"
#include "internal/released_by.h"

namespace kt {

using HeapText = std::unique_ptr<char, ReleasedBy<free>>;

}  // namespace kt

#endif
