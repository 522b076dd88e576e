#include "internal/fields.h"

#include <cstring>

namespace kt {

Fields::Fields(const char* text) : copy_(strdup(text)), rest_(copy_.get()) {}

char* Fields::next(const char* delimiters) {
    return strtok_r(nullptr, delimiters, &rest_);
}

}  // namespace kt
