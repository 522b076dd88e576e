// A text put together from pieces, in time linear to its length.
#ifndef KT_INTERNAL_GROWING_TEXT_H
#define KT_INTERNAL_GROWING_TEXT_H

#include <cstddef>

#include "internal/heap_text.h"
#include "internal/private.h"

namespace kt {

class GrowingText {
  public:
    // False without memory; the text stays as it was.
    bool append(const char* piece, size_t length);
    bool append(const char* piece);  // null counts as empty

    void cutTo(size_t length);  // no longer than it is, and not before the first append

    // The text; null before the first append, if only of an empty piece.
    char* get() const { return text_.get(); }
    char* release() { return text_.release(); }

  private:
    HeapText text_;
    size_t length_ = 0;
    size_t size_ = 0;
};

}  // namespace kt

#endif
