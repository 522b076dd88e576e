// A regular expression as it stands: its groups, their alternatives, and what its single elements match.
#ifndef KT_INTERNAL_REGEX_PATTERN_H
#define KT_INTERNAL_REGEX_PATTERN_H

#include "internal/private.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kt {

// A stretch of a pattern or of a text.
struct Span {
    const char* begin;
    const char* end;
};

class RegexPattern {
  public:
    enum Error {
        kNoMatch = -1,
        kNothingToRepeat = -2,
        kUnbalanced = -3,
        kTooDeep = -4,
        kBrokenSet = -5,
        kInvalidEscape = -6,
        kTooFewCaptures = -7,
        kTooManySeparators = -8,
        kTooManyGroups = -9,
    };

    struct Group {
        const char* begin;  // behind the "("
        const char* end;    // at the ")"
        int16_t firstSeparator;
        int16_t lastSeparator;
        int16_t parent;
        int16_t level;
    };

    struct Separator {
        const char* position;
        int16_t next;  // of the same group
    };

    static constexpr int kNone = -1;
    static constexpr size_t kSlots = 128;

    // Takes the pattern, which stays the caller's. mostGroups below 1 is no limit. Returns 0, or what is
    // wrong with it.
    int parse(const char* regex, int mostGroups);

    // The whole pattern is group 0, the k-th "(" opens group k.
    const Group& whole() const { return groups_[0]; }
    const Group& groupAt(const char* begin) const;
    int numberOf(const Group& group) const { return static_cast<int>(&group - groups_.data()); }
    const Separator& separator(int index) const { return separators_[static_cast<size_t>(index)]; }

    // Tells whether a "^" stands anywhere but first in a sequence.
    bool hasInnerAnchor() const { return innerAnchor_; }

    // Returns how many slots repetitions are kept in, and the slot of the one with this "*" or "+": one of its
    // own for as many as there are slots, any for those behind them.
    size_t numSlots() const { return numRepetitions_; }
    size_t slotOf(const char* quantifier) const;

    // Returns where the first element of the sequence ends; beyond the sequence for a broken set.
    const char* endOfElement(Span sequence) const;

    // Tells whether an element of one byte, neither group nor anchor, matches c.
    static bool matchesByte(Span element, unsigned char c, bool ignoreCase);

    // Returns the byte with which every match begins; kNone when that is not known.
    int firstByte(bool ignoreCase) const;

  private:
    int parseElement(const char*& p, const char* end, int mostGroups);
    int openGroup(const char* begin, int mostGroups);
    int closeGroup(const char* end);
    int addSeparator(const char* position);
    void addRepetition(const char* quantifier);

    bool innerAnchor_ = false;
    int numGroups_ = 0;
    int numSeparators_ = 0;
    size_t numRepetitions_ = 0;
    // While parsing: the innermost open group, how many attempts are inside one another here, the beginning
    // of the sequence, the place behind the last group.
    int open_ = kNone;
    int level_ = 0;
    const char* sequence_ = nullptr;
    const char* behindGroup_ = nullptr;
    std::array<Group, 100> groups_;
    std::array<Separator, 100> separators_;
    std::array<const char*, kSlots> repetitions_;
};

}  // namespace kt

#endif
