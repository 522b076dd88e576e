#include "text/wildcard.h"

#include <cctype>

namespace {

int upper(char c) {
    return toupper(static_cast<unsigned char>(c));
}

struct Exact {
    static bool same(char a, char b) { return a == b; }
};

struct IgnoringCase {
    static bool same(char a, char b) { return a == b || upper(a) == upper(b); }
};

// Only the last star needs another try: whatever follows an earlier one has matched as far to the left as it
// can, which leaves the later ones every choice that they would have otherwise.
template <typename Case>
bool matches(const char* pattern, const char* text) {
    const char* afterStar = nullptr;
    const char* starEnd = nullptr;
    while (*text != '\0') {
        if (*pattern == '*') {
            afterStar = ++pattern;
            starEnd = text;
            if (*pattern == '\0') {
                return true;
            }
        } else if (*pattern != '\0' && (*pattern == '?' || Case::same(*pattern, *text))) {
            ++pattern;
            ++text;
        } else if (afterStar != nullptr) {
            pattern = afterStar;
            text = ++starEnd;
        } else {
            return false;
        }
    }
    while (*pattern == '*') {
        ++pattern;
    }
    return *pattern == '\0';
}

template <typename Case>
int result(const char* pattern, const char* text) {
    return pattern != nullptr && text != nullptr && matches<Case>(pattern, text) ? 1 : 0;
}

}  // namespace

int patMatch(const char* pattern, const char* text) {
    return result<Exact>(pattern, text);
}

int patMatchi(const char* pattern, const char* text) {
    return result<IgnoringCase>(pattern, text);
}
