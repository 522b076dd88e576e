// Regular expressions for short patterns on short texts: matched as they are, without compilation, heap or
// state.
//
// Elements of a pattern:
//   c      any other character: itself
//   .      any byte, line feeds included
//   \c     c is one of ^$().[]*+?|\ : itself, whatever the flags; \d a digit, \s white space, \S any other
//          byte; \b \f \n \r \t \v the bytes 0x08 (no word boundary), 0x0C, 0x0A, 0x0D, 0x09, 0x0B
//   \xHH   the byte of that hexadecimal value, whatever the flags
//   [...]  one byte that is a member: a character, an escape, "." (any byte) or a range x-y of any x but "-"
//          and any y but "]". Other "-" are literal, "$" and "|" never match. [^...] is one byte that is none
//          of them; [] never matches, [^] always does. Without its "]" a set runs to the pattern's end. A
//          range is looked for first: [\-z] and [Z-\] are ranges from and to the backslash. Escapes in a set
//          are not checked: a \c of another c is that character, a \x without two digits matches nothing, and
//          each takes its two or four bytes, a "]" among them as well.
//   (...)  a group, captured, of alternatives separated by "|", which the whole pattern may have, too
//   ^ $    where the current attempt begins, where the span of text given to it ends
// Behind an element "*", "+" or "?" repeats it; "*?" and "+?" stop at the first count that does. Other
// characters have no meaning of their own. Classes and the case of letters are those of the C library's
// locale, by bytes.
//
// The order of the attempts decides what matches:
// - Offsets are tried from 0 to textLen; with "^" as first character only 0. If none matches, the result is
//   the code of the last.
// - Of a group's alternatives the first that matches more than nothing wins, otherwise the result is the
//   last's.
// - "?" takes the element if it matches, and is never tried without it then.
// - "*" and "+" match the element again and again, each time from where the last one ended, and then the rest
//   of the sequence, each as an attempt of its own. The largest count after which the rest matches wins, or
//   the smallest above none ("*?", "+?"). With "*", if the element and the rest behind it both fail at last,
//   the rest is tried without the element: it wins if it matches something, and an empty match counts if no
//   other was found.
// - A group with something behind it gets ever shorter spans, from all that is left down to nothing, until it
//   and the rest match.
//
// Time is linear for literal text and for chains of repeated characters, sets and classes without groups
// behind them. Beyond that it can grow with a power of the text's length: a group that is followed by more
// adds up to two to the exponent, a repetition in front of a captured group one. A call takes some 8 KiB of
// stack for an ordinary pattern and up to 44 KiB for one at the limits (64-bit hosts: 14 and 52). It may run
// in any number of threads and in signal handlers, neither allocates nor blocks and is no cancellation point.
#ifndef KT_TEXT_REGEX_H
#define KT_TEXT_REGEX_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// A captured group: len bytes at ptr, within the text.
typedef struct RegexCapture {
    const char* ptr;
    int len;
} RegexCapture;

// Searches the first textLen bytes of text (which needs no terminator and may hold any bytes; may be null if
// textLen is 0) for the pattern regex. caps (may be null) has numCaps entries. The group of the k-th "("
// fills entry k - 1 whenever it matches more than nothing, also on the way to a failure; other entries stay
// as they are, those beyond numCaps are not kept. flags: 1 ignores case, 0 does not. Returns the offset just
// behind the match, 0 or more, or
// -1  no match; also: textLen below 0, a null pointer, an empty group "()"
// -2  a "*", "+" or "?" with nothing before it
// -3  unbalanced parentheses
// -4  more than 128 groups and repetitions, each within or behind the one before, so that 64 KiB of stack are
//     always enough
// -5  a set whose last member runs past the pattern's end, such as "[\"
// -6  an invalid escape outside a set: "\" at the end, before another character, \x without two digits
// -7  more groups than numCaps, if that is not 0
// -8  more than 100 "|"
// -9  more than 99 groups
// Errors of the pattern's structure (-3, -4, -6 to -9, "()") come before any matching, -2 and -5 when
// matching gets there.
KT_API int slre_match(const char* regex, const char* text, int textLen, RegexCapture* caps, int numCaps,
                      int flags);

#ifdef __cplusplus
}
#endif

#endif
