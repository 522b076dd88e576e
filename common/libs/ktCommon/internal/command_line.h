// A shell command line in an array of its own, and whether it is whole: a cut one would be another command.
#ifndef KT_INTERNAL_COMMAND_LINE_H
#define KT_INTERNAL_COMMAND_LINE_H

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "internal/private.h"

namespace kt {

template <size_t Size>
class CommandLine {
  public:
    __attribute__((format(printf, 2, 3))) explicit CommandLine(const char* format, ...) {
        va_list ap;
        va_start(ap, format);
        const int length = vsnprintf(text_, sizeof text_, format, ap);
        va_end(ap);
        isWhole_ = length >= 0 && static_cast<size_t>(length) < sizeof text_;
    }

    bool isWhole() const { return isWhole_; }
    const char* text() const { return text_; }

  private:
    char text_[Size];
    bool isWhole_;
};

}  // namespace kt

#endif
