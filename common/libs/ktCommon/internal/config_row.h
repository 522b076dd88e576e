// The first configuration row of a name.
#ifndef KT_INTERNAL_CONFIG_ROW_H
#define KT_INTERNAL_CONFIG_ROW_H

#include <cstddef>
#include <cstring>

#include "config_data.h"
#include "internal/private.h"

namespace kt {

// Empty when there is none, and terminated, whatever the library there makes of the array and its size.
template <size_t Size>
void readConfigRow(const char* name, char (&value)[Size]) {
    memset(value, 0, Size);
    dalGetConfigRowValue1(name, 0, value, static_cast<int>(Size));
    value[Size - 1] = '\0';
}

}  // namespace kt

#endif
