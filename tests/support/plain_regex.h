// The rules of slre_match carried out one after another, without any thought of time: what its results and captures
// are compared with. Only whether the pattern is well-formed and what a single byte's element matches is asked of the
// library.
#ifndef KT_TESTS_SUPPORT_PLAIN_REGEX_H
#define KT_TESTS_SUPPORT_PLAIN_REGEX_H

#include <ktcommon.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

class PlainRegex {
  public:
    PlainRegex(std::string pattern, RegexCapture* caps, int numCaps, int flags)
        : pattern_(std::move(pattern)), caps_(caps), numCaps_(numCaps), flags_(flags) {}

    int match(const char* text, int length) {
        int result = slre_match(pattern_.c_str(), text, -1, nullptr, numCaps_, 0);
        if (result != -1 || !findGroups()) {
            return result;
        }
        for (int offset = 0; offset <= (at(0) == '^' ? std::min(length, 0) : length); ++offset) {
            result = group(0, text + offset, length - offset);
            if (result >= 0) {
                return offset + result;
            }
        }
        return result;
    }

  private:
    struct Group {
        size_t number;
        std::vector<int> ends;  // of its alternatives, the last one's being its own
    };

    int size() const { return static_cast<int>(pattern_.size()); }
    char at(int i) const { return i < size() ? pattern_[static_cast<size_t>(i)] : '\0'; }

    // Tells whether there is no "()", behind which the library looks no further.
    bool findGroups() {
        std::vector<int> open = {0};
        groups_[0].number = 0;
        for (int i = 0, next = 0; i < size(); i = next) {
            next = at(i) == '(' ? i + 1 : lengthOf(i) < 0 ? size() : i + lengthOf(i);
            if (at(i) == '(') {
                groups_[next].number = groups_.size();  // without this one: the right side comes first
                open.push_back(next);
            } else if (at(i) == '|' || at(i) == ')') {
                groups_[open.back()].ends.push_back(i);
                if (at(i) == ')' && open.back() == i) {
                    return false;
                }
                open.resize(open.size() - (at(i) == ')' ? 1 : 0));
            }
        }
        groups_[0].ends.push_back(size());
        return true;
    }

    int lengthOf(int element) const {
        int i = element + 1;
        switch (at(element)) {
            case '\\':
                return at(i) == 'x' ? 4 : 2;
            case '(':
                return groups_.at(i).ends.back() + 1 - element;
            case '[':
                while (i < size() && at(i) != ']') {
                    i += at(i) == '\\' ? lengthOf(i) : 1;
                }
                return i > size() ? -1 : std::min(i + 1, size()) - element;
            default:
                return 1;
        }
    }

    int group(int begin, const char* text, int span) {
        int n = 0;
        for (const int end : groups_[begin].ends) {
            n = sequence(begin, end, text, span);
            if (n > 0) {
                break;
            }
            begin = end + 1;
        }
        return n;
    }

    int sequence(int i, int end, const char* text, int span) {
        int j = 0;
        while (i < end && j <= span) {
            const int next = i + lengthOf(i);
            if (at(i) == '*' || at(i) == '+' || at(i) == '?') {
                return -2;
            }
            if (next <= i) {
                return -5;
            }
            const char quantifier = next < end ? at(next) : '\0';
            if (quantifier == '*' || quantifier == '+') {
                return repeated(i, next, end, text, span, j);
            }
            const bool optional = quantifier == '?';
            const int n = optional ? sequence(i, next, text + j, span - j) : one(i, end, text, span, j);
            if (n < 0 && !optional) {
                return n;
            }
            j += std::max(0, n);
            i = next + (optional ? 1 : 0);
        }
        return j;
    }

    int one(int i, int end, const char* text, int span, int j) {
        const int next = i + lengthOf(i);
        switch (at(i)) {
            case '^':
                return j == 0 ? 0 : -1;
            case '$':
                return j == span ? 0 : -1;
            case '(':
                return groupAndRest(i + 1, next, end, text + j, span - j);
            default:
                break;
        }
        const std::string element =
            "^" + std::string(pattern_, static_cast<size_t>(i), static_cast<size_t>(next - i));
        return j == span ? -1 : slre_match(element.c_str(), text + j, 1, nullptr, 0, flags_);
    }

    int groupAndRest(int begin, int rest, int end, const char* text, int span) {
        int n = -1;
        for (int shorter = span; shorter >= 0; --shorter) {
            n = group(begin, text, shorter);
            if (rest == end || (n >= 0 && sequence(rest, end, text + n, span - n) >= 0)) {
                break;
            }
        }
        const size_t number = groups_[begin].number;
        if (n > 0 && caps_ != nullptr && static_cast<int>(number) <= numCaps_) {
            caps_[number - 1] = {text, n};
        }
        return n;
    }

    int repeated(int i, int quantifier, int end, const char* text, int span, int j) {
        const bool plus = at(quantifier) == '+';
        const bool lazy = quantifier + 1 < end && at(quantifier + 1) == '?';
        const int rest = quantifier + (lazy ? 2 : 1);
        int cursor = j;
        int last = j;
        int n = 0;
        int behind = 0;
        do {
            n = sequence(i, quantifier, text + cursor, span - cursor);
            cursor += std::max(0, n);
            if (plus && n < 0) {
                break;
            }
            behind = rest == end ? 0 : sequence(rest, end, text + cursor, span - cursor);
            last = behind < 0 ? last : cursor + behind;
        } while (n > 0 && !(lazy && last > j));
        const int once = !plus && n < 0 && behind < 0 ? sequence(rest, end, text + j, span - j) : 0;
        if (once > 0) {
            return j + once;
        }
        return last == j && (plus || behind < 0) ? -1 : last;
    }

    std::string pattern_;
    RegexCapture* caps_;
    int numCaps_;
    int flags_;
    std::map<int, Group> groups_;  // by the place behind the "("
};

inline int plainMatch(const char* regex, const char* text, int length, RegexCapture* caps, int numCaps,
                      int flags) {
    return PlainRegex(regex, caps, numCaps, flags).match(text, length);
}

#endif
