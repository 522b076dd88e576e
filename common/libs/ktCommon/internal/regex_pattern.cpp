#include "internal/regex_pattern.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace kt {
namespace {

// Of attempts inside one another: a thread's stack of 64 KiB has room for them.
constexpr int kMaxLevel = 128;
constexpr ptrdiff_t kLeastLength = 2;  // of an element with its quantifier
constexpr const char* kEscapable = "^$().[]*+?|\\Ssdbfnrtv";

unsigned char byteAt(const char* p) {
    return static_cast<unsigned char>(*p);
}

int escapeLength(const char* escape) {
    return escape[1] == 'x' ? 4 : 2;
}

bool isValidEscape(const char* escape) {
    if (escape[1] == 'x') {
        return isxdigit(byteAt(escape + 2)) != 0 && isxdigit(byteAt(escape + 3)) != 0;
    }
    return escape[1] != '\0' && strchr(kEscapable, escape[1]) != nullptr;
}

bool isRange(const char* member, const char* end) {
    return *member != '-' && member[1] == '-' && member + 2 < end && member[2] != ']';
}

// Returns where the member ends, one beyond the end when the member does not fit.
const char* endOfMember(const char* member, const char* end) {
    const ptrdiff_t length = isRange(member, end) ? 3 : *member == '\\' ? escapeLength(member) : 1;
    return member + std::min(length, end - member + 1);
}

bool isInverted(const char* set, const char* end) {
    return set + 1 < end && set[1] == '^';
}

// Returns the end of the set, which is beyond the pattern's when its last member is.
const char* endOfSet(const char* set, const char* patternEnd) {
    const char* p = set + (isInverted(set, patternEnd) ? 2 : 1);
    while (p < patternEnd && *p != ']') {
        p = endOfMember(p, patternEnd);
    }
    return p < patternEnd ? p + 1 : p;
}

int hexDigit(const char* p) {
    if (isdigit(byteAt(p)) != 0) {
        return *p - '0';
    }
    return isxdigit(byteAt(p)) != 0 ? tolower(byteAt(p)) - 'a' + 10 : RegexPattern::kNone;
}

// Returns the byte that the escape stands for; -1 for a class, 256 for a \x without its digits.
int escapedByte(const char* escape) {
    switch (escape[1]) {
        case 'd':
        case 's':
        case 'S':
            return RegexPattern::kNone;
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        case 'v':
            return '\v';
        case 'x': {
            const int high = hexDigit(escape + 2);
            const int low = high == RegexPattern::kNone ? RegexPattern::kNone : hexDigit(escape + 3);
            return low == RegexPattern::kNone ? UINT8_MAX + 1 : 16 * high + low;
        }
        default:
            return byteAt(escape + 1);
    }
}

bool matchesEscape(const char* escape, unsigned char c) {
    const int exact = escapedByte(escape);
    if (exact != RegexPattern::kNone) {
        return c == exact;
    }
    return escape[1] == 'd' ? isdigit(c) != 0 : (isspace(c) != 0) == (escape[1] == 's');
}

int folded(unsigned char c, bool ignoreCase) {
    return ignoreCase ? tolower(c) : c;
}

bool matchesMember(const char* member, unsigned char c, bool ignoreCase) {
    switch (*member) {
        case '$':
        case '|':
            return false;
        case '.':
            return true;
        case '\\':
            return matchesEscape(member, c);
        default:
            return folded(byteAt(member), ignoreCase) == folded(c, ignoreCase);
    }
}

bool matchesSet(Span set, unsigned char c, bool ignoreCase) {
    const bool inverted = isInverted(set.begin, set.end);
    const char* p = set.begin + (inverted ? 2 : 1);
    for (; p < set.end && *p != ']'; p = endOfMember(p, set.end)) {
        if (isRange(p, set.end) ? folded(byteAt(p), ignoreCase) <= folded(c, ignoreCase) &&
                                      folded(c, ignoreCase) <= folded(byteAt(p + 2), ignoreCase)
                                : matchesMember(p, c, ignoreCase)) {
            return !inverted;
        }
    }
    return inverted;
}

}  // namespace

int RegexPattern::parse(const char* regex, int mostGroups) {
    openGroup(regex, mostGroups);
    const char* const end = regex + strlen(regex);
    int deepest = 0;
    for (const char* p = regex; p < end;) {
        const int result = parseElement(p, end, mostGroups);
        if (result < 0) {
            return result;
        }
        deepest = std::max(deepest, level_);
    }
    groups_[0].end = end;
    if (open_ != 0) {
        return kUnbalanced;
    }
    return deepest > kMaxLevel ? kTooDeep : 0;
}

int RegexPattern::parseElement(const char*& p, const char* end, int mostGroups) {
    const char* const element = p++;
    switch (*element) {
        case '|':
            return addSeparator(element);
        case '(':
            return openGroup(p, mostGroups);
        case ')':
            return closeGroup(element);
        case '[':
            p = endOfSet(element, end);
            return 0;
        case '\\':
            if (!isValidEscape(element)) {
                return kInvalidEscape;
            }
            p = element + escapeLength(element);
            return 0;
        case '*':
        case '+':
            addRepetition(element);
            return 0;
        case '^':
            innerAnchor_ = innerAnchor_ || element != sequence_;
            return 0;
        default:
            return 0;
    }
}

int RegexPattern::openGroup(const char* begin, int mostGroups) {
    if (numGroups_ == static_cast<int>(groups_.size())) {
        return kTooManyGroups;
    }
    sequence_ = begin;
    ++level_;
    groups_[static_cast<size_t>(numGroups_)] = {
        begin, nullptr, kNone, kNone, static_cast<int16_t>(open_), static_cast<int16_t>(level_)};
    open_ = numGroups_++;
    return mostGroups >= 1 && open_ > mostGroups ? kTooFewCaptures : 0;
}

int RegexPattern::closeGroup(const char* end) {
    if (open_ == 0) {
        return kUnbalanced;
    }
    Group& group = groups_[static_cast<size_t>(open_)];
    group.end = end;
    behindGroup_ = end + 1;
    open_ = group.parent;
    level_ = group.level;
    return group.begin == end ? kNoMatch : 0;
}

int RegexPattern::addSeparator(const char* position) {
    if (numSeparators_ == static_cast<int>(separators_.size())) {
        return kTooManySeparators;
    }
    const auto added = static_cast<int16_t>(numSeparators_++);
    separators_[added] = {position, kNone};
    Group& group = groups_[static_cast<size_t>(open_)];
    (group.lastSeparator == kNone ? group.firstSeparator : separators_[group.lastSeparator].next) = added;
    group.lastSeparator = added;
    sequence_ = position + 1;
    level_ = group.level;
    return 0;
}

void RegexPattern::addRepetition(const char* quantifier) {
    level_ += quantifier == behindGroup_ ? 0 : 1;
    if (numRepetitions_ < repetitions_.size()) {
        repetitions_[numRepetitions_++] = quantifier;
    }
}

size_t RegexPattern::slotOf(const char* quantifier) const {
    const char* const* const first = repetitions_.data();
    const char* const* const found = std::lower_bound(first, first + numRepetitions_, quantifier);
    const bool isOwn = found != first + numRepetitions_;
    return static_cast<size_t>(isOwn ? found - first : (quantifier - whole().begin) / kLeastLength) % kSlots;
}

const RegexPattern::Group& RegexPattern::groupAt(const char* begin) const {
    return *std::lower_bound(groups_.data() + 1, groups_.data() + numGroups_, begin,
                             [](const Group& group, const char* place) { return group.begin < place; });
}

const char* RegexPattern::endOfElement(Span sequence) const {
    switch (*sequence.begin) {
        case '(':
            return groupAt(sequence.begin + 1).end + 1;
        case '[':
            return endOfSet(sequence.begin, sequence.end);
        case '\\':
            return sequence.begin + escapeLength(sequence.begin);
        default:
            return sequence.begin + 1;
    }
}

// Returns the byte with which every match begins; -1 when that is not known.
int RegexPattern::firstByte(bool ignoreCase) const {
    Span sequence = {groups_[0].begin, groups_[0].end};
    const Group* group = &groups_[0];
    while (group->firstSeparator == kNone && sequence.begin < sequence.end) {
        const char first = *sequence.begin;
        const char* const next = endOfElement(sequence);
        const bool optional = next < sequence.end && (*next == '*' || *next == '?');
        if (optional || strchr("[^$.*+?", first) != nullptr) {
            break;
        }
        if (first != '(') {
            return first == '\\' ? escapedByte(sequence.begin) : ignoreCase ? kNone : byteAt(sequence.begin);
        }
        group = &groupAt(sequence.begin + 1);
        sequence = {group->begin, group->end};
    }
    return kNone;
}

bool RegexPattern::matchesByte(Span element, unsigned char c, bool ignoreCase) {
    switch (*element.begin) {
        case '.':
            return true;
        case '\\':
            return matchesEscape(element.begin, c);
        case '[':
            return matchesSet(element, c, ignoreCase);
        default:
            return folded(byteAt(element.begin), ignoreCase) == folded(c, ignoreCase);
    }
}

}  // namespace kt
