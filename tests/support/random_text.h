// The same random texts in every run.
#ifndef KT_TESTS_SUPPORT_RANDOM_TEXT_H
#define KT_TESTS_SUPPORT_RANDOM_TEXT_H

#include <random>
#include <string>

inline size_t randomUpTo(size_t most) {
    static std::mt19937 generator(20240229);
    return generator() % (most + 1);
}

inline std::string randomText(size_t letters, size_t longest) {
    std::string text(randomUpTo(longest), 'a');
    for (char& c : text) { c = "abc"[randomUpTo(letters - 1)]; }
    return text;
}

#endif
