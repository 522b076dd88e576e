// The fields of a text, one by one, as strtok_r tells them apart: empty ones do not count.
#ifndef KT_INTERNAL_FIELDS_H
#define KT_INTERNAL_FIELDS_H

#include "internal/heap_text.h"
#include "internal/private.h"

namespace kt {

class Fields {
  public:
    // text is not null; a copy of it is cut up.
    explicit Fields(const char* text);

    // False without memory.
    explicit operator bool() const { return copy_ != nullptr; }

    // The field up to the next of these characters; null when there is none left.
    char* next(const char* delimiters);

  private:
    HeapText copy_;
    char* rest_;
};

}  // namespace kt

#endif
