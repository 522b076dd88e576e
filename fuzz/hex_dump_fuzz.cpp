// Both forms stay within an array of any size; the raw one can be read back.
#include "target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 2) {
        const int count = static_cast<int>(size) - 2;
        std::vector<char> out(size_t{data[1]} * 5 + 1, 'x');
        const char* const dump = strHexout(data + 2, count, out.data(), data[1] * 5 + 1, data[0]);
        require(dump == nullptr ? data[0] > 40 : strlen(dump) < out.size());
        (void)strHexoutRaw(data + 2, count, out.data(), data[1] * 5 + 1);
        std::vector<char> raw(size * 2 - 3);
        std::vector<uint8_t> back(size - 2);
        strAtoB(strHexoutRaw(data + 2, count, raw.data(), 2 * count + 1), back.data(), count);
        require(memcmp(back.data(), data + 2, back.size()) == 0);
    }
    return 0;
}
