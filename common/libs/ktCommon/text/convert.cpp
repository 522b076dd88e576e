#include "text/convert.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

int atoi_s(const char* s, int dflt) {
    return static_cast<int>(atol_s(s, dflt));
}

long atol_s(const char* s, long dflt) {
    return s == nullptr ? dflt : std::clamp<long>(strtol(s, nullptr, 10), INT32_MIN, INT32_MAX);
}

float atof_s(const char* s, float dflt) {
    return s == nullptr ? dflt : static_cast<float>(strtod(s, nullptr));
}
