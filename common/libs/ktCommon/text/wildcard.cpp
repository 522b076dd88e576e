#include "text/wildcard.h"

#include <cctype>
#include <cstring>

namespace {

int upper(char c) {
    return toupper(static_cast<unsigned char>(c));
}

// find: the first byte of text that is the same as c (not NUL); null when there is none.
struct Exact {
    static bool same(char a, char b) { return a == b; }
    static const char* find(const char* text, char c) { return strchr(text, c); }
};

struct IgnoringCase {
    static bool same(char a, char b) { return upper(a) == upper(b); }
    static const char* find(const char* text, char c) {
        const int wanted = upper(c);
        while (*text != '\0' && upper(*text) != wanted) {
            ++text;
        }
        return *text != '\0' ? text : nullptr;
    }
};

enum class Outcome { kMatch, kDiffers, kTextEnds, kStar };

// Compares up to the pattern's next star, which pattern and text are then moved to, or to its end.
template <typename Case>
Outcome compare(const char*& pattern, const char*& text) {
    const char* t = text;
    for (const char* p = pattern;; ++p, ++t) {
        if (*p == *t && *p != '*' && *p != '\0') {  // spares the most frequent case the questions below
            continue;
        }
        if (*p == '*') {
            pattern = p;
            text = t;
            return Outcome::kStar;
        }
        if (*t == '\0') {
            return *p == '\0' ? Outcome::kMatch : Outcome::kTextEnds;
        }
        if (*p != '?' && !Case::same(*p, *t)) {
            return Outcome::kDiffers;
        }
    }
}

// Compares what follows a star (not nothing) at one place after the other.
template <typename Case>
Outcome search(const char*& pattern, const char*& text) {
    for (;; ++text) {
        if (*pattern != '?') {
            text = Case::find(text, *pattern);
            if (text == nullptr) {
                return Outcome::kTextEnds;
            }
        }
        const Outcome outcome = compare<Case>(pattern, text);
        if (outcome != Outcome::kDiffers) {
            return outcome;
        }
    }
}

// Only the last star is ever tried again: what stands between two has matched as far to the left as it can,
// which leaves the rest every choice that it would have otherwise. And where the text ends too early it does
// so at every later place.
template <typename Case>
bool matches(const char* pattern, const char* text) {
    Outcome outcome = compare<Case>(pattern, text);
    while (outcome == Outcome::kStar) {
        do {
            ++pattern;
        } while (*pattern == '*');
        if (*pattern == '\0') {
            return true;
        }
        outcome = search<Case>(pattern, text);
    }
    return outcome == Outcome::kMatch;
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
