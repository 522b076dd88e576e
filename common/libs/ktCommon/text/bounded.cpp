#include "text/bounded.h"

#include <algorithm>
#include <cctype>
#include <memory>

#include "internal/released_by.h"

namespace {

unsigned char byteOf(char c) {
    return static_cast<unsigned char>(c);
}

bool isTrimmed(char c, int ch) {
    return c == static_cast<char>(ch) || iscntrl(byteOf(c)) != 0;
}

char* mapBytes(char* s, int (*map)(int)) {
    for (char* p = s; *p != '\0'; ++p) {
        *p = static_cast<char>(map(byteOf(*p)));
    }
    return s;
}

// Deletes a substring while the string streams past: the text kept so far is its own stack, and a full match
// pops the substring off it. Searching again from the front after every deletion would find the same
// occurrences in the same order, because the one that ends first is the leftmost.
class SubstringStripper {
  public:
    SubstringStripper(const char* sub, size_t length) : sub_(sub), length_(length) {
        if (length_ > kInlineLength) {
            heapBorders_.reset(static_cast<size_t*>(reallocarray(nullptr, length_, sizeof(size_t))));
            borders_ = heapBorders_.get();
        }
        if (borders_ != nullptr) {
            computeBorders();
        }
    }

    size_t strip(char* s) const {
        char* kept = s;
        size_t matched = 0;
        for (const char* next = s; *next != '\0'; ++next) {
            *kept++ = *next;
            matched = advance(s, kept, matched);
            if (matched == length_) {
                kept -= length_;
                matched = matchAtEnd(s, kept);
            }
        }
        *kept = '\0';
        return static_cast<size_t>(kept - s);
    }

  private:
    static constexpr size_t kInlineLength = 255;

    // borders_[i]: length of the longest proper prefix of sub that ends sub[0..i].
    void computeBorders() {
        borders_[0] = 0;
        for (size_t i = 1; i < length_; ++i) {
            borders_[i] = extend(borders_[i - 1], sub_[i]);
        }
    }

    size_t extend(size_t matched, char c) const {
        while (matched > 0 && sub_[matched] != c) {
            matched = borders_[matched - 1];
        }
        return sub_[matched] == c ? matched + 1 : 0;
    }

    size_t advance(const char* s, const char* kept, size_t matched) const {
        return borders_ != nullptr ? extend(matched, kept[-1]) : matchWithoutBorders(s, kept);
    }

    // The state before a deletion is not remembered. It never reaches back more than length_ - 1 characters,
    // so running over those again costs no more than the characters just deleted.
    size_t matchAtEnd(const char* s, const char* kept) const {
        if (borders_ == nullptr) {
            return 0;
        }
        const size_t reach = std::min(static_cast<size_t>(kept - s), length_ - 1);
        size_t matched = 0;
        for (const char* p = kept - reach; p < kept; ++p) {
            matched = extend(matched, *p);
        }
        return matched;
    }

    size_t matchWithoutBorders(const char* s, const char* kept) const {
        const bool whole =
            static_cast<size_t>(kept - s) >= length_ && memcmp(kept - length_, sub_, length_) == 0;
        return whole ? length_ : 0;
    }

    const char* sub_;
    size_t length_;
    size_t inlineBorders_[kInlineLength];
    kt::Owned<size_t, free> heapBorders_;
    size_t* borders_ = inlineBorders_;
};

}  // namespace

char* _strlower(char* s) {
    return mapBytes(s, tolower);
}

char* strlwr(char* s) {
    return _strlower(s);
}

char* _strupper(char* s) {
    return mapBytes(s, toupper);
}

char* strupr(char* s) {
    return _strupper(s);
}

char* ltrim(char* s, int ch) {
    if (s == nullptr) {
        return s;
    }
    const char* first = s;
    while (*first != '\0' && isTrimmed(*first, ch)) {
        ++first;
    }
    if (first != s) {
        memmove(s, first, strlen(first) + 1);
    }
    return s;
}

char* rtrim(char* s, int ch) {
    if (s == nullptr || *s == '\0') {
        return s;
    }
    char* last = s + strlen(s) - 1;
    while (last > s && isTrimmed(*last, ch)) {
        --last;
    }
    last[1] = '\0';
    return s;
}

char* trim(char* s) {
    return trimex(s, ' ');
}

char* trimex(char* s, int ch) {
    return rtrim(ltrim(s, ch), ch);
}

char* strreplace(char* s, int from, int to) {
    if (s != nullptr && static_cast<char>(from) != '\0') {
        std::replace(s, s + strlen(s), static_cast<char>(from), static_cast<char>(to));
    }
    return s;
}

char* strnreplace(char* buf, int len, int from, int to, int* count) {
    if (buf == nullptr || len <= 0) {
        return nullptr;
    }
    int replaced = 0;
    for (char* p = buf; p < buf + len; ++p) {
        if (*p == static_cast<char>(from)) {
            *p = static_cast<char>(to);
            ++replaced;
        }
    }
    if (count != nullptr) {
        *count = replaced;
    }
    return buf;
}

char* strremove(char* s, int ch) {
    if (s != nullptr && static_cast<char>(ch) != '\0') {
        *std::remove(s, s + strlen(s), static_cast<char>(ch)) = '\0';
    }
    return s;
}

int strstrip(char* s, const char* sub) {
    if (s == nullptr) {
        return 0;
    }
    // Most texts hold no occurrence at all, and then the C library's search is the fastest way to know it.
    if (sub == nullptr || *sub == '\0' || strstr(s, sub) == nullptr) {
        return static_cast<int>(strlen(s));
    }
    const SubstringStripper stripper(sub, strlen(sub));
    return static_cast<int>(stripper.strip(s));
}

char* strrev(char* s) {
    if (s != nullptr) {
        std::reverse(s, s + strlen(s));
    }
    return s;
}

char* strchrrev(const char* p, int ch, const char* start) {
    if (p == nullptr || start == nullptr || p < start) {
        return nullptr;
    }
    const void* found = memrchr(start, ch, static_cast<size_t>(p - start) + 1);
    return const_cast<char*>(static_cast<const char*>(found));
}

#if KT_LIBC_DECLARES_STRLCPY
#define KT_STRL_THROW __THROW
#else
#define KT_STRL_THROW
#endif

KT_API size_t strlcpy(char* dst, const char* src, size_t size) KT_STRL_THROW {
    const size_t length = strlen(src);
    if (size > 0) {
        const size_t copied = std::min(length, size - 1);
        memcpy(dst, src, copied);
        dst[copied] = '\0';
    }
    return length;
}

KT_API size_t strlcat(char* dst, const char* src, size_t size) KT_STRL_THROW {
    const size_t initial = strnlen(dst, size);
    const size_t length = strlen(src);
    if (initial < size) {
        const size_t copied = std::min(length, size - initial - 1);
        memcpy(dst + initial, src, copied);
        dst[initial + copied] = '\0';
    }
    return initial + length;
}

char* strcat_s(char* dst, const char* src, size_t dstSize) {
    return src == nullptr ? nullptr : strncat_s(dst, src, strlen(src), dstSize);
}

char* strncat_s(char* dst, const char* src, size_t n, size_t dstSize) {
    if (dst == nullptr || src == nullptr) {
        return nullptr;
    }
    const size_t initial = strlen(dst);
    if (initial >= dstSize || n >= dstSize - initial) {  // not a sum: n may be huge
        return nullptr;
    }
    const size_t copied = strnlen(src, n);
    memcpy(dst + initial, src, copied);
    dst[initial + copied] = '\0';
    return dst;
}

int strcat_rep(char* dst, const char* src, int count, size_t dstSize) {
    if (dst == nullptr) {
        return 0;
    }
    size_t used = strlen(dst);
    const size_t length = src == nullptr ? 0 : strlen(src);
    for (int i = 0; length > 0 && i < count && used < dstSize && length < dstSize - used; ++i) {
        memcpy(dst + used, src, length + 1);
        used += length;
    }
    return static_cast<int>(used);
}
