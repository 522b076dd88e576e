// Shell-style wildcard patterns: "*" stands for any run of characters, an empty one, too, "?" for any one
// character, everything else for itself. There is no escape for the two, and no set of characters.
//
// A pattern matches when it covers the whole text. Characters are bytes; those of 0x80 and above are
// characters like others. Takes at most time proportional to the product of both lengths, and constant
// stack. Nothing here keeps state, allocates, blocks or is a cancellation point: both functions may run in
// any thread and in a signal handler.
#ifndef KT_TEXT_WILDCARD_H
#define KT_TEXT_WILDCARD_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Match text against pattern; patMatchi compares the upper-case forms (toupper, by the C library's locale) of
// both.
// Return 1 on a match; 0 otherwise, also when either is null.
KT_API int patMatch(const char* pattern, const char* text) KT_WARN_UNUSED;
KT_API int patMatchi(const char* pattern, const char* text) KT_WARN_UNUSED;

#ifdef __cplusplus
}
#endif

#endif
