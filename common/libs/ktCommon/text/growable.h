// Heap strings: copies, and text that grows as it is formatted.
//
// A result called new comes from the C allocator and belongs to the caller, who releases it with free(). The
// "_x" functions work on the caller's char* variable, whose address is pp. Nothing here keeps state, blocks
// or is a cancellation point; every function may run in any thread, none in a signal handler (they allocate).
// A variable that two threads use at the same time needs the callers' own lock. Formats are those of printf.
//
// Out of memory: functions with a pointer result return null and leave *pp as it was; sprintf_x stores null
// and returns 0. A format that the C library refuses (an invalid multi-byte character, a text above INT_MAX)
// counts as the empty text.
#ifndef KT_TEXT_GROWABLE_H
#define KT_TEXT_GROWABLE_H

#include <stdarg.h>
#include <stddef.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Copies s.
// Returns a new string; an empty one when s is null.
KT_API char* strdup_s(const char* s) KT_MALLOC KT_WARN_UNUSED;

// Copies s with every occurrence of `from`, found left to right without overlap, replaced by `to`. Allocates
// once, at exactly the result's length + 1 bytes. s is unchanged.
// Returns a new string: an empty one when s is null, a plain copy when `from` is null or empty; a null `to`
// is empty.
KT_API char* strreplacex(const char* s, const char* from, const char* to) KT_MALLOC KT_WARN_UNUSED;

// Returns a new string of n bytes ch (n + 1 bytes allocated).
KT_API char* strfill(int ch, size_t n) KT_MALLOC KT_WARN_UNUSED;

// Formats fmt (null counts as empty) with ap, which is left as va_start made it (only copies are read).
// Returns a new string in a block of 256 bytes, or of exactly its length + 1 when it is longer than 255.
KT_API char* formatVAString(const char* fmt, va_list ap) KT_PRINTF(1, 0) KT_MALLOC KT_WARN_UNUSED;

// Replaces the string in *pp (may be null) by the formatted text, in a block of exactly its length + 1 bytes.
// The arguments may point into *pp.
// Returns the new *pp; null, with *pp unchanged, when pp or fmt is null or memory is short.
KT_API char* strcpy_x(char** pp, const char* fmt, ...) KT_PRINTF(2, 3);

// Appends the formatted text to the string in *pp (may be null). Every call reallocates to the new length +
// 20 bytes, so a text of many small pieces is better built with AppendBuf. The arguments may point into *pp.
// Returns the new *pp; null, with *pp unchanged, when pp or fmt is null or memory is short.
KT_API char* strcat_x(char** pp, const char* fmt, ...) KT_PRINTF(2, 3);

// Stores the formatted text in *pp as a new string (block as formatVAString). The previous value of *pp is
// overwritten, not freed: it is null, or a pointer that the caller frees elsewhere.
// Returns the length of the new string; 0, with *pp unchanged, when pp or fmt is null.
KT_API int sprintf_x(char** pp, const char* fmt, ...) KT_PRINTF(2, 3);

#ifdef __cplusplus
}
#endif

#endif
