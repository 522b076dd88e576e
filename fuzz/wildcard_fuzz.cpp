// A wildcard pattern matches as its rule says, carried out literally.
#include <cctype>

#include "support/plain_wildcard.h"
#include "target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<char> pattern = textOf(data, size, 0);
    const std::vector<char> text = textOf(data, size, size < pattern.size() ? size : pattern.size());
    const auto upper = [](int c) { return toupper(static_cast<unsigned char>(c)); };
    if (pattern.size() <= 9 && text.size() <= 13) {
        require(patMatch(pattern.data(), text.data()) == covers(pattern.data(), text.data(), identity));
        require(patMatchi(pattern.data(), text.data()) == covers(pattern.data(), text.data(), upper));
    }
    return 0;
}
