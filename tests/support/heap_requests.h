// What a test program asks of the C allocator: exact block sizes, and refusals on demand. heap_requests.cpp
// defines malloc, realloc and calloc. A sanitizer brings its own allocator, which knows the sizes but cannot
// be told to refuse.
#ifndef KT_TESTS_SUPPORT_HEAP_REQUESTS_H
#define KT_TESTS_SUPPORT_HEAP_REQUESTS_H

#include <gtest/gtest.h>

#include <climits>
#include <string>

extern __thread int t_heapGrants;  // requests that still succeed; UBSan stumbles over thread_local here
extern const bool kHeapRefuses;    // whether they can fail at all

// Of the block that was requested last, or (sanitizers) of this one.
size_t latestSize(void* block);

// Calls the library with a heap that grants only so many requests.
template <typename Call>
auto withHeapGrants(int grants, Call call) {
    t_heapGrants = grants;
    auto result = call();
    t_heapGrants = INT_MAX;
    return result;
}

// Takes over the string that the library allocated last, in a block of exactly so many bytes.
inline std::string taken(char* text, size_t blockSize) {
    EXPECT_EQ(latestSize(text), blockSize);
    std::string copy = text;
    free(text);
    return copy;
}

#endif
