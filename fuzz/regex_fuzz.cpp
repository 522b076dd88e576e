// A regular expression gives the result and the captures of its rules, carried out one after another.
#include "support/plain_regex.h"
#include "target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<char> regex = textOf(data, size, size < 1 ? size : 1);
    const std::vector<char> text(data + std::min(size, 1 + regex.size()), data + size);
    if (regex.size() > 15 || text.size() > 10 || size < 1) { return 0; }
    const int length = static_cast<int>(text.size());
    const int flags = data[0] & 1;
    std::vector<RegexCapture> caps((data[0] >> 1) % 4, {text.data(), 0});
    std::vector<RegexCapture> plainCaps = caps;
    const int numCaps = static_cast<int>(caps.size());
    const int result = slre_match(regex.data(), text.data(), length, caps.data(), numCaps, flags);
    require(result >= -9 && result <= length);
    require(result == plainMatch(regex.data(), text.data(), length, plainCaps.data(), numCaps, flags));
    for (size_t i = 0; i < caps.size(); ++i) {
        require(caps[i].ptr == plainCaps[i].ptr && caps[i].len == plainCaps[i].len);
        require(caps[i].ptr - text.data() >= 0 && caps[i].ptr + caps[i].len <= text.data() + length);
    }
    return 0;
}
