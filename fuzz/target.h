// What the fuzz targets share. A target reads its input from an array of exactly the input's size.
#ifndef KT_FUZZ_TARGET_H
#define KT_FUZZ_TARGET_H

#include <ktcommon.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

inline void require(bool holds) {
    if (!holds) { abort(); }
}

// The input from its byte begin to a NUL or its end, as text in an array of exactly its size.
inline std::vector<char> textOf(const uint8_t* data, size_t size, size_t begin) {
    std::vector<char> text(data + begin, data + size);
    text.push_back('\0');
    text.resize(strlen(text.data()) + 1);
    text.shrink_to_fit();
    return text;
}

#endif
