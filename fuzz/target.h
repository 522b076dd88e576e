// What the fuzz targets share. A target reads its input from an array of exactly the input's size.
#ifndef KT_FUZZ_TARGET_H
#define KT_FUZZ_TARGET_H

#include <ktcommon.h>

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

inline void require(bool holds) {
    if (!holds) {
        abort();
    }
}

// The input as text without NUL, from its byte begin on.
inline std::string textOf(const uint8_t* data, size_t size, size_t begin) {
    const std::string bytes(data + begin, data + size);
    return bytes.substr(0, bytes.find('\0'));
}

#endif
