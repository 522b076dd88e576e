// Text from the C allocator that frees itself unless it is released to a C caller.
#ifndef KT_INTERNAL_HEAP_TEXT_H
#define KT_INTERNAL_HEAP_TEXT_H

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "internal/private.h"
#include "internal/released_by.h"

namespace kt {

using HeapText = Owned<char, free>;

// Empty without memory.
inline const char* textOf(const HeapText& text) {
    return text == nullptr ? "" : text.get();
}

// Null without memory.
__attribute__((format(printf, 1, 2))) inline HeapText formatted(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    char* text = nullptr;
    const int length = vasprintf(&text, format, ap);
    va_end(ap);
    return HeapText(length < 0 ? nullptr : text);
}

}  // namespace kt

#endif
