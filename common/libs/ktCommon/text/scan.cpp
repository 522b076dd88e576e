#include "text/scan.h"

#include <strings.h>

#include <array>
#include <cctype>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "text/bounded.h"
#include "text/convert.h"

namespace {

constexpr int kNullValue = -26743;
constexpr int kNoDigit = 16;

constexpr std::array<unsigned char, 256> digitTable() {
    std::array<unsigned char, 256> table{};
    for (int c = 0; c < 256; ++c) {
        table[c] = static_cast<unsigned char>(c >= '0' && c <= '9'   ? c - '0'
                                              : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                              : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                                     : kNoDigit);
    }
    return table;
}
constexpr std::array<unsigned char, 256> kDigit = digitTable();

unsigned digit(char c) {
    return kDigit[static_cast<unsigned char>(c)];
}

bool isSpace(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

int hexadecimal(const char* s, int dflt) {
    if (digit(*s) == kNoDigit) {
        return dflt;
    }
    unsigned value = 0;
    for (; digit(*s) != kNoDigit; ++s) {
        value = value > UINT_MAX >> 4 ? UINT_MAX : value << 4 | digit(*s);
    }
    return static_cast<int>(value);
}

// Keeps the length, so that joining many arguments does not walk the text again for each.
void append(char* buf, size_t& used, const char* piece, size_t limit) {
    const size_t length = strlen(piece);
    if (used < limit && length < limit - used) {
        memcpy(buf + used, piece, length + 1);
        used += length;
    }
}

}  // namespace

char* _nextString(char* s, int offset) {
    if (s == nullptr) {
        return nullptr;
    }
    char* token = s + (offset + 1);
    while (isSpace(*token)) {
        ++token;
    }
    char* end = token;
    while (*end != '\0' && !isSpace(*end)) {
        ++end;
    }
    if (*end != '\0') {
        *end = '\0';
    }
    return token;
}

char* _nextString2(char* s, int ch) {
    const char c = static_cast<char>(ch);
    char* run = s == nullptr || c == '\0' ? nullptr : strchr(s, c);
    if (run == nullptr) {
        return s;
    }
    char* field = run;
    while (*field == c) {
        ++field;
    }
    if (*field == '\0') {
        return run;
    }
    char* end = strchr(field, c);
    if (end != nullptr) {
        *end = '\0';
    }
    return field;
}

char* _nextDelim(const char* text, const char* key, int delim, char* out, int outSize) {
    if (text == nullptr || key == nullptr || out == nullptr || outSize < 1) {
        return nullptr;
    }
    const char* found = strstr(text, key);
    const char* start = found == nullptr ? nullptr : found + strlen(key);
    const char* end = start == nullptr ? nullptr : strchr(start, delim);
    if (end == nullptr) {
        return nullptr;
    }
    const size_t room = static_cast<size_t>(outSize) - 1;
    const size_t length = static_cast<size_t>(end - start);
    const size_t copied = length < room ? length : room;
    memcpy(out, start, copied);
    out[copied] = '\0';
    return out;
}

char* getCommandLine(int argc, char** argv, char* buf, int bufSize) {
    if (buf == nullptr) {
        return nullptr;
    }
    if (bufSize > 0) {
        buf[0] = '\0';
    }
    if (argv == nullptr || argv[0] == nullptr) {
        return nullptr;
    }
    if (bufSize < 1) {
        return buf;
    }
    size_t used = 0;
    const size_t limit = static_cast<size_t>(bufSize) - 1;
    for (int i = 0; i < argc; ++i) {
        append(buf, used, i == 0 ? "" : " ", limit);
        append(buf, used, argv[i] == nullptr ? "" : argv[i], limit);
    }
    return trim(buf);
}

int checkOptionsList(const char* list, const char* delims, const char* option) {
    if (list == nullptr || delims == nullptr || option == nullptr) {
        return 0;
    }
    const size_t wanted = strlen(option);
    for (const char* piece = list + strspn(list, delims); *piece != '\0'; piece += strspn(piece, delims)) {
        const size_t length = strcspn(piece, delims);
        if (length == wanted && strncasecmp(piece, option, length) == 0) {
            return 1;
        }
        piece += length;
    }
    return 0;
}

int charCount(const char* s, int ch) {
    int count = 0;
    for (; *s != '\0'; ++s) {
        count += *s == static_cast<char>(ch) ? 1 : 0;
    }
    return count;
}

int getValue(const char* s, int dflt) {
    if (s == nullptr) {
        return kNullValue;
    }
    if (strncmp(s, "0x", 2) == 0) {
        return hexadecimal(s + 2, dflt);
    }
    if (strncmp(s, "0b", 2) == 0) {
        return static_cast<int>(parseBinary(s));
    }
    return static_cast<int>(atol_s(s, dflt));
}

unsigned parseBinary(const char* s) {
    unsigned value = 0;
    for (; *s != '\0'; ++s) {
        value = value << 1 | (*s == '1' ? 1U : 0U);
    }
    return value;
}

char* strBin(unsigned value, char* buf, int maxDigits, int minWidth) {
    if (buf == nullptr) {
        return nullptr;
    }
    int length = 0;
    for (; value != 0 && length < maxDigits; value >>= 1) {
        buf[length++] = (value & 1) != 0 ? '1' : '0';
    }
    while (length < minWidth) {
        buf[length++] = '0';
    }
    buf[length] = '\0';
    return strrev(buf);
}

char* bufAsBin(const unsigned char* data, int len, char* out, int outSize, int spaced) {
    if (out == nullptr || outSize < 1) {
        return out;
    }
    memset(out, 0, static_cast<size_t>(outSize));
    const int fitting = (outSize - 1) / (spaced != 0 ? 9 : 8);
    char* at = out;
    for (int i = 0; data != nullptr && i < len && i < fitting; ++i) {
        strBin(data[i], at, 8, 8);
        at += 8;
        if (spaced != 0) {
            *at++ = ' ';
        }
    }
    return out;
}

unsigned char* strAtoB(const char* hex, unsigned char* out, int outSize) {
    if (hex == nullptr || out == nullptr || outSize < 1) {
        return hex == nullptr ? nullptr : out;
    }
    memset(out, 0, static_cast<size_t>(outSize));
    for (int i = 0; i < outSize && hex[0] != '\0' && hex[1] != '\0'; ++i, hex += 2) {
        const unsigned high = digit(hex[0]);
        const unsigned low = digit(hex[1]);
        out[i] = static_cast<unsigned char>(((high | low) & kNoDigit) != 0 ? 0 : high << 4 | low);
    }
    return out;
}

char* strBtoA(const char* s, char* out, int outSize) {
    if (s == nullptr || out == nullptr || *s == '\0') {
        return nullptr;
    }
    int used = 0;
    for (; *s != '\0' && used < outSize; ++s) {
        const unsigned byte = static_cast<unsigned char>(*s);
        out[used++] = "0123456789abcdef"[byte >> 4];
        if (used < outSize) {
            out[used++] = "0123456789abcdef"[byte & 15];
        }
    }
    if (used < outSize) {
        memset(out + used, 0, static_cast<size_t>(outSize - used));
    }
    return out;
}

char* _addCommas(unsigned long value, char* buf, int size) {
    if (buf == nullptr || size < 1) {
        return buf;
    }
    memset(buf, 0, static_cast<size_t>(size));
    char text[32];
    char* at = text + sizeof text;
    int digits = 0;
    do {
        if (digits != 0 && digits % 3 == 0) {
            *--at = ',';
        }
        *--at = static_cast<char>('0' + value % 10);
        ++digits;
    } while ((value /= 10) != 0);
    const size_t length = static_cast<size_t>(text + sizeof text - at);
    if (length < static_cast<size_t>(size)) {
        memcpy(buf, at, length);
    }
    return buf;
}

char* _secsToDHMS(unsigned seconds, char* buf, int size) {
    if (buf != nullptr && size > 0) {
        snprintf(buf, static_cast<size_t>(size), "%u:%02u:%02u:%02u", seconds / 86400, seconds / 3600 % 24,
                 seconds / 60 % 60, seconds % 60);
    }
    return buf;
}

int isValidChr(int c, const char* invalid) {
    if (c < -128 || c > 255 || isprint(static_cast<unsigned char>(c)) == 0) {
        return 0;
    }
    return invalid != nullptr && strchr(invalid, c) != nullptr ? 0 : 1;
}

int isValidStr(const char* s, const char* invalid) {
    if (s == nullptr) {
        return 0;
    }
    while (*s != '\0' && isValidChr(*s, invalid) != 0) {
        ++s;
    }
    return *s == '\0' ? 1 : 0;
}

int strClean(char* s, const char* invalid) {
    int replaced = 0;
    for (; *s != '\0'; ++s) {
        if (isValidChr(*s, invalid) == 0) {
            *s = '_';
            ++replaced;
        }
    }
    return replaced;
}

int _isAllNumeric(const char* s) {
    while (isdigit(static_cast<unsigned char>(*s)) != 0) {
        ++s;
    }
    return *s == '\0' ? 1 : 0;
}

int _isAllAlpha(const char* s) {
    while (isalnum(static_cast<unsigned char>(*s)) != 0) {
        ++s;
    }
    return *s == '\0' ? 1 : 0;
}
