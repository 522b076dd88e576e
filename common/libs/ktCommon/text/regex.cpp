#include "text/regex.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "internal/regex_pattern.h"

static_assert(offsetof(RegexCapture, ptr) == 0);
static_assert(offsetof(RegexCapture, len) == sizeof(void*));
static_assert(sizeof(RegexCapture) == 2 * sizeof(void*));

namespace {

using kt::RegexPattern;
using kt::Span;
using Group = RegexPattern::Group;

constexpr int kNoMatch = RegexPattern::kNoMatch;
constexpr int kIgnoreCase = 1;

// What is known of a byte of the pattern that is repeated up to runEnd, where it stops matching: of the
// places in (tried, runEnd] the last (the first, if not greedy) from where the rest of the pattern matches.
// It serves every beginning of the same run, which keeps chains such as ".*a.*b.*c" linear.
struct Run {
    const char* element;  // null before the first use
    const char* spanEnd;
    const char* tried;
    const char* runEnd;
    const char* match;  // null: none
    const char* matchEnd;
    const char* furthest;
};

struct Repetition {
    Span element;
    Span rest;
    bool atLeastOnce;
    bool greedy;
};

bool isQuantifier(char c) {
    return c == '*' || c == '+' || c == '?';
}

bool isOneByte(char c) {
    return c != '(' && c != '^' && c != '$';
}

class Matcher {
  public:
    Matcher(const RegexPattern& pattern, RegexCapture* captures, int numCaptures, bool ignoreCase)
        : pattern_(pattern),
          captures_(captures),
          numCaptures_(captures == nullptr ? 0 : std::max(0, numCaptures)),
          ignoreCase_(ignoreCase) {
        for (size_t slot = 0; slot < pattern.numSlots(); ++slot) {
            runs_[slot].element = nullptr;
        }
    }

    int search(Span text);

  private:
    int matchGroup(const Group& group, Span text);
    int matchSequence(Span sequence, Span text);
    int matchElement(Span element, Span text);
    int matchGroupAndRest(const Group& group, Span rest, Span text, int& restLength);
    int matchRepeated(const Repetition& repetition, Span text);
    int matchRepeatedByte(const Repetition& repetition, Span text);
    Run runAt(const Repetition& repetition, Span text);
    bool reaches(Span element, const char* begin, const Run& run);
    void tryRest(const Repetition& repetition, Run& run, const char* begin);
    const char* endOfRun(Span element, Span text);
    bool matchesByte(Span element, char c) const;
    bool isAtEnd(Span text);
    bool isPure(Span sequence) const;
    void capture(const Group& group, const char* begin, int length);

    const RegexPattern& pattern_;
    RegexCapture* captures_;
    int numCaptures_;
    bool ignoreCase_;
    const char* furthest_ = nullptr;  // the last place of the text that was compared with the end of a span
    std::array<Run, RegexPattern::kSlots> runs_;  // as many as the pattern uses
};

int Matcher::search(Span text) {
    if (*pattern_.whole().begin == '^') {
        return matchGroup(pattern_.whole(), text);
    }
    const int first = pattern_.firstByte(ignoreCase_);
    for (const char* p = text.begin;; ++p) {
        if (first != RegexPattern::kNone && p < text.end) {
            const void* const found = memchr(p, first, static_cast<size_t>(text.end - p));
            p = found == nullptr ? text.end : static_cast<const char*>(found);
        }
        const int length = matchGroup(pattern_.whole(), {p, text.end});
        if (length >= 0) {
            return static_cast<int>(p - text.begin) + length;
        }
        if (p == text.end) {
            return length;
        }
    }
}

int Matcher::matchGroup(const Group& group, Span text) {
    const char* begin = group.begin;
    for (int next = group.firstSeparator; next != RegexPattern::kNone; next = pattern_.separator(next).next) {
        const char* const end = pattern_.separator(next).position;
        const int length = matchSequence({begin, end}, text);
        if (length > 0) {
            return length;
        }
        begin = end + 1;
    }
    return matchSequence({begin, group.end}, text);
}

int Matcher::matchSequence(Span sequence, Span text) {
    const char* p = text.begin;
    while (sequence.begin < sequence.end) {
        if (isQuantifier(*sequence.begin)) {
            return RegexPattern::kNothingToRepeat;
        }
        const Span element = {sequence.begin, pattern_.endOfElement(sequence)};
        if (element.end > sequence.end) {
            return RegexPattern::kBrokenSet;
        }
        sequence.begin = element.end;
        const char quantifier = sequence.begin < sequence.end ? *sequence.begin : '\0';
        const Span left = {p, text.end};
        int length = kNoMatch;
        if (quantifier == '*' || quantifier == '+') {
            const bool greedy = sequence.begin + 1 >= sequence.end || sequence.begin[1] != '?';
            sequence.begin += greedy ? 1 : 2;
            length = matchRepeated({element, sequence, quantifier == '+', greedy}, left);
            return length < 0 ? length : static_cast<int>(p - text.begin) + length;
        }
        if (quantifier == '?') {
            ++sequence.begin;
            length = std::max(0, matchElement(element, left));
        } else if (*element.begin == '(' && sequence.begin < sequence.end) {
            int rest = kNoMatch;
            length = matchGroupAndRest(pattern_.groupAt(element.begin + 1), sequence, left, rest);
            if (!pattern_.hasInnerAnchor() && length >= 0) {
                return rest < 0 ? rest : static_cast<int>(p - text.begin) + length + rest;
            }
        } else if (*element.begin != '^' || p == text.begin) {
            length = matchElement(element, left);
        }
        if (length < 0) {
            return length;
        }
        p += length;
    }
    return static_cast<int>(p - text.begin);
}

// A sequence of this element alone.
int Matcher::matchElement(Span element, Span text) {
    switch (*element.begin) {
        case '^':
            return 0;
        case '$':
            return isAtEnd(text) ? 0 : kNoMatch;
        case '(': {
            const Group& group = pattern_.groupAt(element.begin + 1);
            const int length = matchGroup(group, text);
            capture(group, text.begin, length);
            return length;
        }
        default:
            return !isAtEnd(text) && matchesByte(element, *text.begin) ? 1 : kNoMatch;
    }
}

// All spans behave alike that end behind the last place where the group asked for their end: of these one is
// tried.
int Matcher::matchGroupAndRest(const Group& group, Span rest, Span text, int& restLength) {
    const char* end = text.end;
    for (;;) {
        const char* const before = furthest_;
        furthest_ = text.begin;
        const int length = matchGroup(group, {text.begin, end});
        const char* const reach = furthest_;
        furthest_ = std::max(before, reach);
        restLength = length < 0 ? kNoMatch : matchSequence(rest, {text.begin + length, text.end});
        if (restLength >= 0 || end == text.begin) {
            capture(group, text.begin, length);
            return length;
        }
        end = std::min(end - 1, reach);
    }
}

int Matcher::matchRepeated(const Repetition& repetition, Span text) {
    if (isOneByte(*repetition.element.begin) && isPure(repetition.rest)) {
        return matchRepeatedByte(repetition, text);
    }
    Span left = text;
    const char* end = text.begin;
    bool first = true;
    int length = 0;
    int rest = 0;
    do {
        length = matchElement(repetition.element, left);
        left.begin += std::max(0, length);
        if (repetition.atLeastOnce && length < 0) {
            break;
        }
        if (first || length > 0) {
            rest = matchSequence(repetition.rest, left);
            end = rest < 0 ? end : left.begin + rest;
            first = false;
        }
    } while (length > 0 && (repetition.greedy || end == text.begin));
    if (!repetition.atLeastOnce && length < 0 && rest < 0 && left.begin != text.begin) {
        rest = matchSequence(repetition.rest, text);
        if (rest > 0) {
            return rest;
        }
    }
    const bool failed = end == text.begin && (repetition.atLeastOnce || rest < 0);
    return failed ? kNoMatch : static_cast<int>(end - text.begin);
}

// The same for a repeated byte and a rest that captures nothing, so that attempts may be left out and results
// be kept.
int Matcher::matchRepeatedByte(const Repetition& repetition, Span text) {
    const Run run = runAt(repetition, text);
    const bool matches = run.match != nullptr && run.match > text.begin;
    const bool restFailed = repetition.greedy ? run.match != run.runEnd : !matches;
    int without = kNoMatch;
    if (!repetition.atLeastOnce && (restFailed || run.runEnd == text.begin)) {
        without = std::max(kNoMatch, matchSequence(repetition.rest, text));
    }
    return matches && without <= 0 ? static_cast<int>(run.matchEnd - text.begin) : without;
}

// Returns what there is to know of the repeated byte from text.begin on, finding out what was not known yet.
Run Matcher::runAt(const Repetition& repetition, Span text) {
    const char* const element = repetition.element.begin;
    Run& kept = runs_[pattern_.slotOf(repetition.element.end)];
    Run run = kept;
    const char* const before = furthest_;
    furthest_ = text.begin;
    if (run.element != element || run.spanEnd != text.end || !reaches(repetition.element, text.begin, run)) {
        const char* const runEnd = endOfRun(repetition.element, text);
        run = {element, text.end, runEnd, runEnd, nullptr, nullptr, text.begin};
    } else if (!repetition.greedy && run.match != nullptr && run.match <= text.begin) {
        run.tried = run.runEnd;
        run.match = nullptr;
    }
    if (text.begin < run.tried) {
        tryRest(repetition, run, text.begin);
    }
    run.furthest = std::max(run.furthest, furthest_);
    furthest_ = std::max(before, run.furthest);
    kept = run;
    return run;
}

bool Matcher::reaches(Span element, const char* begin, const Run& run) {
    return begin <= run.runEnd && (begin >= run.tried || endOfRun(element, {begin, run.tried}) == run.tried);
}

void Matcher::tryRest(const Repetition& repetition, Run& run, const char* begin) {
    const auto places = repetition.greedy && run.match != nullptr ? 0 : run.tried - begin;
    for (auto place = places; place > 0; --place) {
        const char* const p = repetition.greedy ? begin + place : run.tried - place + 1;
        const int length = matchSequence(repetition.rest, {p, run.spanEnd});
        if (length >= 0) {
            run.match = p;
            run.matchEnd = p + length;
            break;
        }
    }
    run.tried = begin;
}

const char* Matcher::endOfRun(Span element, Span text) {
    if (*element.begin == '.') {
        text.begin = text.end;
    }
    while (!isAtEnd(text) && matchesByte(element, *text.begin)) {
        ++text.begin;
    }
    return text.begin;
}

bool Matcher::matchesByte(Span element, char c) const {
    return RegexPattern::matchesByte(element, static_cast<unsigned char>(c), ignoreCase_);
}

bool Matcher::isAtEnd(Span text) {
    furthest_ = std::max(furthest_, text.begin);
    return text.begin == text.end;
}

void Matcher::capture(const Group& group, const char* begin, int length) {
    const int index = pattern_.numberOf(group) - 1;
    if (length > 0 && index < numCaptures_) {
        captures_[index] = {begin, length};
    }
}

bool Matcher::isPure(Span sequence) const {
    return numCaptures_ == 0 ||
           memchr(sequence.begin, '(', static_cast<size_t>(sequence.end - sequence.begin)) == nullptr;
}

}  // namespace

int slre_match(const char* regex, const char* text, int textLen, RegexCapture* caps, int numCaps, int flags) {
    if (regex == nullptr) {
        return kNoMatch;
    }
    RegexPattern pattern;
    const int error = pattern.parse(regex, numCaps);
    if (error < 0) {
        return error;
    }
    if (textLen < 0 || (text == nullptr && textLen > 0)) {
        return kNoMatch;
    }
    return Matcher(pattern, caps, numCaps, (flags & kIgnoreCase) != 0).search({text, text + textLen});
}
