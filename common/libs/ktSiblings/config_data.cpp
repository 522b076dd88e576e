#include "config_data.h"

#include <array>
#include <atomic>
#include <cstdio>

#include "layout.h"

using kt::siblings::HeapText;
using kt::siblings::kConfigRows;
using kt::siblings::lookUp;

namespace {

std::array<std::atomic<int>, SQL_OPTION_COUNT> options{};

bool isOption(int option) {
    return option >= 0 && option < SQL_OPTION_COUNT;
}

std::atomic<int>& optionValue(int option) {
    return options[static_cast<size_t>(option)];
}

}  // namespace

int dalGetConfigRowValue1(const char* row, int index, char* value, int size) {
    if (!value || size <= 0) {
        return -1;
    }
    const HeapText text = lookUp(kConfigRows, 0, row, index);
    snprintf(value, static_cast<size_t>(size), "%s", text ? text.get() : "");
    return text ? 0 : -1;
}

int sqlSetOption(int option, int value) {
    if (!isOption(option)) {
        return -1;
    }
    optionValue(option) = value;
    return 0;
}

int sqlGetOption(int option) {
    return isOption(option) ? optionValue(option).load() : 0;
}
