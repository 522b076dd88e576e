// A wildcard pattern matches as its rule says, carried out literally.
#include <cctype>

#include "target.h"

namespace {

bool plain(const char* pattern, const char* text, int (*form)(int)) {
    if (*pattern == '\0') {
        return *text == '\0';
    }
    if (*pattern == '*') {
        return plain(pattern + 1, text, form) || (*text != '\0' && plain(pattern, text + 1, form));
    }
    const auto formOf = [form](char c) { return form(static_cast<unsigned char>(c)); };
    return *text != '\0' && (*pattern == '?' || formOf(*pattern) == formOf(*text)) &&
           plain(pattern + 1, text + 1, form);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<char> pattern = textOf(data, size, 0);
    const std::vector<char> text = textOf(data, size, size < pattern.size() ? size : pattern.size());
    if (pattern.size() <= 9 && text.size() <= 13) {
        const auto same = [](int c) { return c; };
        require(patMatch(pattern.data(), text.data()) == plain(pattern.data(), text.data(), same));
        require(patMatchi(pattern.data(), text.data()) == plain(pattern.data(), text.data(), toupper));
    }
    return 0;
}
