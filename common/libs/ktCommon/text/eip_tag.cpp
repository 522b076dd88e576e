#include "text/eip_tag.h"

#include <climits>
#include <cstdint>
#include <cstring>

#include "diag/debug.h"
#include "text/regex.h"

namespace {

bool isEipDevice(const void* record) {
    if (record == nullptr) {
        return false;
    }
    const char* driver = nullptr;
    memcpy(&driver, static_cast<const char*>(record) + 7 * sizeof driver, sizeof driver);
    return driver != nullptr && strstr(driver, "EthernetIP") != nullptr;
}

bool isAssemblyName(const char* tagName) {
    const size_t length = tagName == nullptr ? SIZE_MAX : strlen(tagName);
    return length <= INT_MAX &&
           slre_match(R"(^\d+(\[\d+\])?$)", tagName, static_cast<int>(length), nullptr, 0, 0) >= 1;
}

}  // namespace

int isEipAssemblyObjectTagMap(const char* tagName, const void* record) {
    const char* const shown = tagName == nullptr ? "(null)" : tagName;
    if (!isEipDevice(record)) {
        __debug(__LINE__, "%s, %s is not an assembly object EIP tag, reason: Not EIP\n", __func__, shown);
        return 0;
    }
    if (!isAssemblyName(tagName)) {
        __debug(__LINE__, "%s, %s is not an assembly object EIP tag, reason: regex mismatch\n", __func__,
                shown);
        return 0;
    }
    __debug(__LINE__, "%s, %s is an assembly object EIP tag\n", __func__, shown);
    return 1;
}
