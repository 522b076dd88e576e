// Whatever an option string holds, the mode is made of the known bits, and the category bits only ever grow.
#include <algorithm>
#include <cstdio>

#include "target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<char> options = textOf(data, size, 0);
    const std::vector<char> name = textOf(data, size, std::min(options.size(), size));
    static FILE* const nowhere = freopen("/dev/null", "w", stdout);
    const unsigned before = _debugGetMode();
    const unsigned mode = _debugSetOptions(options.data(), name.data());
    require(nowhere != nullptr && mode == _debugGetMode() && (mode & ~0x3FFU) == 0);
    require(options[0] == '!' ? mode == 0 : (mode & (before | DEBUG_GENERAL)) == (before | DEBUG_GENERAL));
    return 0;
}
