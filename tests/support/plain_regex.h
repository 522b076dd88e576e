// The rules of slre_match carried out one after another, without any thought of time: what its results and captures
// are compared with. Only whether the pattern is well-formed and what the element of a single byte matches is asked of
// the library.
#ifndef KT_TESTS_SUPPORT_PLAIN_REGEX_H
#define KT_TESTS_SUPPORT_PLAIN_REGEX_H

#include <ktcommon.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

struct PlainRegex {
    int match(const char* text, int length) {
        size_t i = 0;
        int result = slre_match(pattern_.c_str(), text, -1, nullptr, numCaps_, 0);
        if (result != -1 || !parse(i, 0)) { return result; }
        for (int offset = 0; offset <= (pattern_[0] == '^' ? std::min(length, 0) : length); ++offset) {
            result = group(0, text + offset, length - offset);
            if (result >= 0) { return offset + result; }
        }
        return result;
    }

    struct Element {
        int group;         // 0: none
        std::string text;  // of the others; empty for a broken set
        char quantifier;
        bool lazy;
    };
    using Sequence = std::vector<Element>;

    size_t lengthOf(size_t element) const {
        size_t i = element + 1;
        if (pattern_[element] == '\\') { return pattern_[i] == 'x' ? 4 : 2; }
        if (pattern_[element] != '[') { return 1; }
        i += pattern_[i] == '^' ? 1 : 0;
        while (i < pattern_.size() && pattern_[i] != ']') {
            const bool isRange = pattern_[i] != '-' && pattern_[i + 1] == '-' && i + 2 < pattern_.size() &&
                                 pattern_[i + 2] != ']';
            i += isRange ? 3 : pattern_[i] == '\\' ? lengthOf(i) : 1;
        }
        return i + 1 - element;
    }

    static bool isQuantifier(char c) { return c == '*' || c == '+' || c == '?'; }

    // From place i to the end of that group. False for a "()", behind which the library looks no further.
    bool parse(size_t& i, int number) {
        std::vector<Sequence> alternatives(1);
        for (; i < pattern_.size() && pattern_[i] != ')';) {
            Element element = {0, pattern_.substr(i, lengthOf(i)), '\0', false};
            i += lengthOf(i);
            if (element.text == "|") {
                alternatives.emplace_back();
                continue;
            }
            if (element.text == "(") {
                element.group = ++numGroups_;
                if (pattern_[i] == ')' || !parse(i, element.group)) { return false; }
                ++i;
            }
            if (i > pattern_.size() + 1) {
                element.text.clear();
            } else if (i < pattern_.size() && isQuantifier(pattern_[i]) && !isQuantifier(element.text[0])) {
                element.quantifier = pattern_[i++];
                element.lazy = element.quantifier != '?' && pattern_[i] == '?';
                i += element.lazy ? 1 : 0;
            }
            alternatives.back().push_back(element);
        }
        groups_[number] = alternatives;
        return true;
    }

    int group(int number, const char* text, int span) {
        int n = 0;
        for (const Sequence& alternative : groups_[number]) {
            n = sequence(alternative, 0, text, span);
            if (n > 0) { break; }
        }
        return n;
    }

    // From its element k on.
    int sequence(const Sequence& elements, size_t k, const char* text, int span) {
        int j = 0;
        for (; k < elements.size() && j <= span; ++k) {
            const Element& element = elements[k];
            if (element.text.empty() || isQuantifier(element.text[0])) {
                return element.text.empty() ? -5 : -2;
            }
            if (element.quantifier == '*' || element.quantifier == '+') {
                return repeated(elements, k, text, span, j);
            }
            const int n = element.quantifier == '?' ? std::max(0, alone(element, text + j, span - j))
                                                    : one(elements, k, text, span, j);
            if (n < 0) { return n; }
            j += n;
        }
        return j;
    }

    int alone(const Element& element, const char* text, int span) {
        return sequence({{element.group, element.text, '\0', false}}, 0, text, span);
    }

    int one(const Sequence& elements, size_t k, const char* text, int span, int j) {
        const char first = elements[k].text[0];
        if (first == '(') { return groupAndRest(elements, k, text + j, span - j); }
        if (first == '^' || first == '$') { return j == (first == '^' ? 0 : span) ? 0 : -1; }
        return j == span ? -1 : slre_match(("^" + elements[k].text).c_str(), text + j, 1, nullptr, 0, flags_);
    }

    int groupAndRest(const Sequence& elements, size_t k, const char* text, int span) {
        int n = -1;
        for (int shorter = span; shorter >= 0; --shorter) {
            n = group(elements[k].group, text, shorter);
            if (k + 1 == elements.size() || (n >= 0 && sequence(elements, k + 1, text + n, span - n) >= 0)) {
                break;
            }
        }
        if (n > 0 && caps_ != nullptr && elements[k].group <= numCaps_) {
            caps_[elements[k].group - 1] = {text, n};
        }
        return n;
    }

    int repeated(const Sequence& elements, size_t k, const char* text, int span, int j) {
        const bool plus = elements[k].quantifier == '+';
        int cursor = j;
        int last = j;
        int n = 0;
        int behind = 0;
        do {
            n = alone(elements[k], text + cursor, span - cursor);
            cursor += std::max(0, n);
            if (plus && n < 0) { break; }
            behind = sequence(elements, k + 1, text + cursor, span - cursor);
            last = behind < 0 ? last : cursor + behind;
        } while (n > 0 && !(elements[k].lazy && last > j));
        if (!plus && n < 0 && behind < 0) {
            behind = sequence(elements, k + 1, text + j, span - j);
            last = behind > 0 ? j + behind : last;
        }
        return last == j && (plus || behind < 0) ? -1 : last;
    }

    std::string pattern_;
    RegexCapture* caps_;
    int numCaps_, flags_;
    int numGroups_ = 0;
    std::map<int, std::vector<Sequence>> groups_ = {};  // their alternatives; 0 is the whole pattern
};

inline int plainMatch(const char* regex, const char* text, int length, RegexCapture* caps, int numCaps,
                      int flags) {
    return PlainRegex{regex, caps, numCaps, flags}.match(text, length);
}

#endif
