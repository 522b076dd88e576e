// What is written can be read back, into arrays that hold just that.
#include "target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<char> text = textOf(data, size, 0);
    const int length = static_cast<int>(text.size()) - 1;
    std::vector<char> hex(text.size() * 2 - 1);
    std::vector<unsigned char> bytes(text.size());
    strAtoB(strBtoA(text.data(), hex.data(), 2 * length + 1), bytes.data(), length);
    require(memcmp(bytes.data(), text.data(), text.size()) == 0);
    std::vector<char> bits(text.size() * 8 - 7);
    bufAsBin(bytes.data(), length, bits.data(), 8 * length + 1, 0);
    require(length == 0 || (parseBinary(bits.data()) & 0xFF) == bytes[text.size() - 2]);
    std::vector<unsigned char> half(text.size() / 2);
    strAtoB(text.data(), half.data(), static_cast<int>(half.size()));
    std::vector<char> narrow(size % 27 + 1);
    _addCommas(static_cast<unsigned>(getValue(text.data(), 0)), narrow.data(),
               static_cast<int>(narrow.size()));
    strClean(text.data(), INVALID_CHARS);
    require(isValidStr(text.data(), INVALID_CHARS) == 1);
    return 0;
}
