#include "text/growable.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal/heap_text.h"

namespace {

constexpr size_t kFirstSize = 256;
constexpr size_t kSpareBytes = 20;

int formatCopy(char* text, size_t size, const char* fmt, va_list ap) {
    va_list copy;
    va_copy(copy, ap);
    const int length = vsnprintf(text, size, fmt, copy);
    va_end(copy);
    return length;
}

char* copyOf(const char* s, size_t length) {
    char* copy = static_cast<char*>(malloc(length + 1));
    if (copy != nullptr) {
        memcpy(copy, s, length);
        copy[length] = '\0';
    }
    return copy;
}

size_t countOccurrences(const char* s, const char* sub, size_t subLength) {
    size_t count = 0;
    for (const char* found = strstr(s, sub); found != nullptr; found = strstr(found + subLength, sub)) {
        ++count;
    }
    return count;
}

// False when the result would not fit the address space, which a 32-bit one makes possible.
bool replacedLength(size_t length, size_t count, size_t fromLength, size_t toLength, size_t* result) {
    size_t added = 0;
    return !__builtin_mul_overflow(count, toLength, &added) &&
           !__builtin_add_overflow(length - count * fromLength, added, result) && *result < SIZE_MAX;
}

// Puts the formatted text behind the first `kept` bytes of *pp and leaves `spare` bytes, the terminator's among them,
// behind it. The text is formatted apart, since the arguments may point into *pp.
char* storeFormatted(char** pp, size_t kept, size_t spare, const char* fmt, va_list ap) {
    const kt::HeapText text(formatVAString(fmt, ap));
    if (text == nullptr) {
        return nullptr;
    }
    const size_t length = strlen(text.get());
    char* grown = static_cast<char*>(realloc(*pp, kept + length + spare));
    if (grown != nullptr) {
        memcpy(grown + kept, text.get(), length + 1);
        *pp = grown;
    }
    return grown;
}

}  // namespace

char* strdup_s(const char* s) {
    return s == nullptr ? copyOf("", 0) : copyOf(s, strlen(s));
}

char* strreplacex(const char* s, const char* from, const char* to) {
    if (s == nullptr || from == nullptr || *from == '\0') {
        return strdup_s(s);
    }
    const char* replacement = to == nullptr ? "" : to;
    const size_t fromLength = strlen(from);
    const size_t toLength = strlen(replacement);
    size_t length = strlen(s);
    if (fromLength != toLength &&
        !replacedLength(length, countOccurrences(s, from, fromLength), fromLength, toLength, &length)) {
        return nullptr;
    }
    char* const result = static_cast<char*>(malloc(length + 1));
    if (result == nullptr) {
        return nullptr;
    }
    char* end = result;
    for (const char* found = strstr(s, from); found != nullptr; found = strstr(s, from)) {
        end = static_cast<char*>(mempcpy(end, s, static_cast<size_t>(found - s)));
        end = static_cast<char*>(mempcpy(end, replacement, toLength));
        s = found + fromLength;
    }
    memcpy(end, s, strlen(s) + 1);
    return result;
}

char* strfill(int ch, size_t n) {
    char* text = n == SIZE_MAX ? nullptr : static_cast<char*>(malloc(n + 1));
    if (text != nullptr) {
        memset(text, ch, n);
        text[n] = '\0';
    }
    return text;
}

char* formatVAString(const char* fmt, va_list ap) {
    kt::HeapText text(static_cast<char*>(malloc(kFirstSize)));
    if (text == nullptr) {
        return nullptr;
    }
    const int length = fmt == nullptr ? -1 : formatCopy(text.get(), kFirstSize, fmt, ap);
    if (length < 0) {
        *text = '\0';
        return text.release();
    }
    const size_t needed = static_cast<size_t>(length) + 1;
    if (needed <= kFirstSize) {
        return text.release();
    }
    char* longText = static_cast<char*>(realloc(text.get(), needed));
    if (longText == nullptr) {
        return nullptr;
    }
    (void)text.release();
    if (formatCopy(longText, needed, fmt, ap) < 0) {
        *longText = '\0';
    }
    return longText;
}

char* strcpy_x(char** pp, const char* fmt, ...) {
    if (pp == nullptr || fmt == nullptr) {
        return nullptr;
    }
    va_list ap;
    va_start(ap, fmt);
    char* stored = storeFormatted(pp, 0, 1, fmt, ap);
    va_end(ap);
    return stored;
}

char* strcat_x(char** pp, const char* fmt, ...) {
    if (pp == nullptr || fmt == nullptr) {
        return nullptr;
    }
    va_list ap;
    va_start(ap, fmt);
    char* stored = storeFormatted(pp, *pp == nullptr ? 0 : strlen(*pp), kSpareBytes, fmt, ap);
    va_end(ap);
    return stored;
}

int sprintf_x(char** pp, const char* fmt, ...) {
    if (pp == nullptr || fmt == nullptr) {
        return 0;
    }
    va_list ap;
    va_start(ap, fmt);
    *pp = formatVAString(fmt, ap);
    va_end(ap);
    return *pp == nullptr ? 0 : static_cast<int>(strlen(*pp));
}
