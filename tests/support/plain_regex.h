// The rules of slre_match carried out one after another, without any thought of time: what its results and
// captures are compared with. Only whether the pattern is well-formed and what a single element matches is
// asked of the library.
#ifndef KT_TESTS_SUPPORT_PLAIN_REGEX_H
#define KT_TESTS_SUPPORT_PLAIN_REGEX_H

#include <ktcommon.h>

#include <algorithm>
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
        int begin;
        int end;
        std::vector<int> bars;
    };

    int size() const { return static_cast<int>(pattern_.size()); }
    char at(int i) const { return i < size() ? pattern_[static_cast<size_t>(i)] : '\0'; }

    // Tells whether there is no "()", behind which the library looks no further.
    bool findGroups() {
        groups_ = {{0, size(), {}}};
        std::vector<size_t> open = {0};
        for (int i = 0; i < size(); i += at(i) == '(' ? 1 : std::max(1, lengthOf(i))) {
            if (at(i) == '|') {
                groups_[open.back()].bars.push_back(i);
            } else if (at(i) == '(') {
                open.push_back(groups_.size());
                groups_.push_back({i + 1, -1, {}});
            } else if (at(i) == ')') {
                if (groups_[open.back()].begin == i) {
                    return false;
                }
                groups_[open.back()].end = i;
                open.pop_back();
            } else if (lengthOf(i) < 0) {
                break;
            }
        }
        return true;
    }

    size_t groupAt(int begin) const {
        size_t number = 1;
        while (groups_[number].begin != begin) {
            ++number;
        }
        return number;
    }

    int lengthOf(int element) const {
        int i = element + 1;
        switch (at(element)) {
            case '\\':
                return at(i) == 'x' ? 4 : 2;
            case '(':
                return groups_[groupAt(i)].end + 1 - element;
            case '[':
                while (i < size() && at(i) != ']') {
                    i += at(i) == '\\' ? lengthOf(i) : 1;
                }
                return i > size() ? -1 : std::min(i + 1, size()) - element;
            default:
                return 1;
        }
    }

    int group(size_t number, const char* text, int span) {
        int begin = groups_[number].begin;
        for (const int bar : groups_[number].bars) {
            const int n = sequence(begin, bar, text, span);
            if (n > 0) {
                return n;
            }
            begin = bar + 1;
        }
        return sequence(begin, groups_[number].end, text, span);
    }

    int sequence(int i, int end, const char* text, int span) {
        int j = 0;
        while (i < end && j <= span) {
            const int length = lengthOf(i);
            if (at(i) == '*' || at(i) == '+' || at(i) == '?') {
                return -2;
            }
            if (length <= 0) {
                return -5;
            }
            const char quantifier = i + length < end ? at(i + length) : '\0';
            if (quantifier == '*' || quantifier == '+') {
                return repeated(i, i + length, end, text, span, j);
            }
            const bool optional = quantifier == '?';
            const int n = optional ? sequence(i, i + length, text + j, span - j) : one(i, end, text, span, j);
            if (n < 0 && !optional) {
                return n;
            }
            j += std::max(0, n);
            i += length + (optional ? 1 : 0);
        }
        return j;
    }

    int one(int i, int end, const char* text, int span, int j) {
        switch (at(i)) {
            case '^':
                return j == 0 ? 0 : -1;
            case '$':
                return j == span ? 0 : -1;
            case '(':
                return groupAndRest(groupAt(i + 1), i + lengthOf(i), end, text + j, span - j);
            default:
                break;
        }
        const std::string element =
            "^" + pattern_.substr(static_cast<size_t>(i), static_cast<size_t>(lengthOf(i)));
        return j == span ? -1 : slre_match(element.c_str(), text + j, 1, nullptr, 0, flags_);
    }

    int groupAndRest(size_t number, int rest, int end, const char* text, int span) {
        int n = -1;
        for (int shorter = span; shorter >= 0; --shorter) {
            n = group(number, text, shorter);
            if (rest == end || (n >= 0 && sequence(rest, end, text + n, span - n) >= 0)) {
                break;
            }
        }
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
    std::vector<Group> groups_;
};

inline int plainMatch(const char* regex, const char* text, int length, RegexCapture* caps, int numCaps,
                      int flags) {
    return PlainRegex(regex, caps, numCaps, flags).match(text, length);
}

#endif
