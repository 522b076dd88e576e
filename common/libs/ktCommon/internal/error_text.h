// The text of an error number, in a buffer of its own.
#ifndef KT_INTERNAL_ERROR_TEXT_H
#define KT_INTERNAL_ERROR_TEXT_H

#include <cstddef>
#include <cstring>

#include "internal/private.h"

namespace kt {

// At most Size - 1 characters. strerror_r has two forms: one returns a code and has filled the buffer, the
// other returns the text, which may stand elsewhere.
template <size_t Size>
class ErrorText {
  public:
    explicit ErrorText(int error) : text_(chosen(strerror_r(error, buffer_, Size), buffer_)) {}
    ErrorText(const ErrorText&) = delete;
    ErrorText& operator=(const ErrorText&) = delete;

    const char* get() const { return text_; }

  private:
    [[maybe_unused]] static const char* chosen(int, const char* buffer) { return buffer; }
    [[maybe_unused]] static const char* chosen(const char* text, const char*) { return text; }

    char buffer_[Size] = {};
    const char* text_;
};

}  // namespace kt

#endif
