#include "text/hex_dump.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

constexpr unsigned kMaxIndent = 40;
constexpr size_t kLineBytes = 16;
constexpr char kDigits[] = "0123456789ABCDEF";
constexpr char kBlanks[] = "                                                ";
static_assert(sizeof kBlanks == 3 * kLineBytes + 1);

// Two digits and two blanks: a byte of the dump is three characters, but four are copied in one go.
using Quads = std::array<std::array<char, 4>, 256>;

constexpr Quads quads() {
    Quads table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        table[byte] = {kDigits[byte >> 4U], kDigits[byte & 15U], ' ', ' '};
    }
    return table;
}
constexpr Quads kQuads = quads();

// What each byte shows in the character column; asks the locale once for each.
class Column {
  public:
    char operator()(unsigned char byte) {
        char& shown = shown_[byte];
        if (shown == '\0') {
            shown = isprint(byte) != 0 ? static_cast<char>(byte) : '.';
        }
        return shown;
    }

  private:
    std::array<char, 256> shown_ = {};
};

struct Output {
    char* text;
    size_t used;
    size_t size;
};

bool full(const Output& out) {
    return out.used + 1 >= out.size;
}

bool append(Output& out, const char* piece, size_t length) {
    if (length >= out.size - out.used) {
        return false;
    }
    memcpy(out.text + out.used, piece, length);
    out.used += length;
    out.text[out.used] = '\0';
    return true;
}

struct Line {
    char text[kMaxIndent + 8 + 2 + 3 * kLineBytes + 2 + kLineBytes + 1];
    size_t offsetLength;
    size_t length;
};

size_t putOffset(char* to, size_t offset, size_t indent) {
    memset(to, ' ', indent);
    char* at = to + indent;
    int shift = 12;
    while (shift < 28 && offset >> (shift + 4) != 0) {
        shift += 4;
    }
    for (; shift >= 0; shift -= 4) {
        *at++ = kDigits[(offset >> shift) & 15];
    }
    *at++ = ' ';
    *at++ = ' ';
    return static_cast<size_t>(at - to);
}

void format(Line& line, const unsigned char* bytes, size_t count, size_t offset, size_t indent,
            Column& shown) {
    line.offsetLength = putOffset(line.text, offset, indent);
    char* const groups = line.text + line.offsetLength;
    char* const column = groups + 3 * kLineBytes + 2;
    if (count < kLineBytes) {
        memset(groups, ' ', 3 * kLineBytes);
    }
    for (size_t i = 0; i < count; ++i) {
        memcpy(groups + 3 * i, &kQuads[bytes[i]], sizeof kQuads[0]);
        column[i] = shown(bytes[i]);
    }
    memset(groups + 3 * kLineBytes, ' ', 2);
    column[count] = '\n';
    line.length = static_cast<size_t>(column + count + 1 - line.text);
}

void appendPieces(Output& out, const Line& line, size_t count) {
    const char* at = line.text + line.offsetLength;
    append(out, line.text, line.offsetLength);
    for (size_t i = 0; i < count; ++i) {
        append(out, at + 3 * i, 3);
    }
    append(out, kBlanks, 3 * (kLineBytes - count));
    append(out, kBlanks, 2);
    append(out, at + 3 * kLineBytes + 2, count);
    append(out, "\n", 1);
}

void appendHeader(Output& out, int indent) {
    char header[kMaxIndent + 64];
    const int length = snprintf(header, sizeof header,
                                "%*s       0  1  2  3  4  5  6  7  8  9  A  B  C  D  E  F\n", indent, " ");
    append(out, header, static_cast<size_t>(length));
}

}  // namespace

char* strHexout(const unsigned char* data, int len, char* out, int outSize, unsigned indent) {
    if (data == nullptr || out == nullptr || indent > kMaxIndent) {
        return nullptr;
    }
    if (outSize < 1) {
        return out;
    }
    Output output = {out, 0, static_cast<size_t>(outSize)};
    out[0] = '\0';
    if (len < 1) {
        return out;
    }
    appendHeader(output, static_cast<int>(indent));
    Line line;
    Column shown;
    const size_t length = static_cast<size_t>(len);
    for (size_t done = 0; done < length && !full(output); done += kLineBytes) {
        const size_t count = std::min(length - done, kLineBytes);
        format(line, data + done, count, done, indent == 0 ? 1 : indent, shown);
        if (!append(output, line.text, line.length)) {
            appendPieces(output, line, count);
        }
    }
    return out;
}

char* strHexoutRaw(const unsigned char* data, int len, char* out, int outSize) {
    if (data == nullptr || out == nullptr) {
        return nullptr;
    }
    if (outSize < 1) {
        return out;
    }
    memset(out, 0, static_cast<size_t>(outSize));
    const size_t count = static_cast<size_t>(std::max(0, std::min(len, (outSize - 1) / 2)));
    for (size_t i = 0; i < count; ++i) {
        memcpy(out + 2 * i, &kQuads[data[i]], 2);
    }
    return out;
}
