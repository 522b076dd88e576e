#include "internal/growing_text.h"

#include <algorithm>
#include <cstring>

namespace kt {
namespace {

constexpr size_t kFirstSize = 256;

}  // namespace

bool GrowingText::append(const char* piece, size_t length) {
    if (length >= size_ - length_) {
        const size_t size = std::max({kFirstSize, 2 * size_, length_ + length + 1});
        char* grown = static_cast<char*>(realloc(text_.get(), size));
        if (grown == nullptr) {
            return false;
        }
        (void)text_.release();  // realloc has freed or kept it
        text_.reset(grown);
        size_ = size;
    }
    memcpy(text_.get() + length_, piece, length);
    length_ += length;
    text_.get()[length_] = '\0';
    return true;
}

bool GrowingText::append(const char* piece) {
    return piece == nullptr ? append("", 0) : append(piece, strlen(piece));
}

void GrowingText::cutTo(size_t length) {
    text_.get()[length] = '\0';
    length_ = length;
}

}  // namespace kt
