// Strings in place: editors of NUL-terminated byte strings, and copies into arrays of a fixed size.
//
// A string is a sequence of 8-bit characters; case and control characters are those of the C library's locale
// (in the default locale control characters are 0x00 to 0x1F and 0x7F). Character arguments are compared as
// bytes: -1 and 255 name the same one. Nothing here keeps state, blocks or is a cancellation point: every
// function may run in any thread and, but for strstrip with a sub above 255 characters, in a signal handler.
// A string that two threads use at the same time needs the callers' own lock. Source and destination must not
// overlap.
#ifndef KT_TEXT_BOUNDED_H
#define KT_TEXT_BOUNDED_H

#include <stddef.h>
#include <string.h>

#include "internal/api.h"

// The C library declares strlcpy and strlcat itself from glibc 2.38 on, with the same meaning.
#if defined(__GLIBC__) && defined(__USE_MISC) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 38))
#define KT_LIBC_DECLARES_STRLCPY 1
#else
#define KT_LIBC_DECLARES_STRLCPY 0
#endif

#ifdef __cplusplus
extern "C" {
#endif

// Replaces every byte of s (not null) by its lower-case form.
// Returns s. strlwr is another name for it.
KT_API char* _strlower(char* s);
KT_API char* strlwr(char* s);

// Replaces every byte of s (not null) by its upper-case form.
// Returns s. strupr is another name for it.
KT_API char* _strupper(char* s);
KT_API char* strupr(char* s);

// Removes the leading run of characters that equal ch or are control characters; the rest moves to the front.
// Returns s; null and empty strings as they are.
KT_API char* ltrim(char* s, int ch);

// Removes the trailing run of characters that equal ch or are control characters. The first character always
// stays, so a string made only of such characters keeps one.
// Returns s; null and empty strings as they are.
KT_API char* rtrim(char* s, int ch);

// ltrim, then rtrim, with ch (trim: with a blank). A string made only of such characters becomes empty.
// Returns s; null as it is.
KT_API char* trim(char* s);
KT_API char* trimex(char* s, int ch);

// Replaces every character `from` of s by `to`. With `to` NUL the string ends at the first one.
// Returns s; unchanged when s is null or `from` is NUL.
KT_API char* strreplace(char* s, int from, int to);

// Replaces every byte `from` among the first len bytes of buf by `to`, NUL bytes included.
// count (may be null) receives the number of replacements.
// Returns buf; null when buf is null or len is 0 or negative, and then *count is untouched.
KT_API char* strnreplace(char* buf, int len, int from, int to, int* count);

// Deletes every character ch of s and closes the gaps, in one pass.
// Returns s; unchanged when s is null or ch is NUL.
KT_API char* strremove(char* s, int ch);

// Deletes every occurrence of sub from s, leftmost first, including those that a deletion creates: "aabb"
// without "ab" is empty. One pass in time linear to both lengths; allocates only for a sub above 255
// characters (and is slower, with the same result, if that fails).
// Returns the length of s afterwards; 0 when s is null; s is unchanged when sub is null or empty.
KT_API int strstrip(char* s, const char* sub);

// Reverses the bytes of s.
// Returns s; null as it is.
KT_API char* strrev(char* s);

// Searches from p backwards to start, both included, for the byte ch (NUL is a byte like others).
// Returns the last occurrence at or before p; null when there is none, p lies before start, or either is
// null.
KT_API char* strchrrev(const char* p, int ch, const char* start) KT_WARN_UNUSED;

#if !KT_LIBC_DECLARES_STRLCPY
// Copies at most size - 1 bytes of src to dst and terminates it; a size of 0 writes nothing. Neither may be
// null.
// Returns the length of src: size or more means that the copy was cut.
KT_API size_t strlcpy(char* dst, const char* src, size_t size);

// Appends src to the string in the array dst of size bytes, cutting it to a total length of size - 1. An
// array without a terminator in its first size bytes is left alone. Neither may be null.
// Returns the initial length of dst (at most size) plus the length of src: size or more means that it was
// cut.
KT_API size_t strlcat(char* dst, const char* src, size_t size);
#endif

// Appends all of src to the string in the array dst of dstSize bytes, or nothing.
// Returns dst; null, with dst unchanged, when strlen(dst) + strlen(src) >= dstSize or an argument is null.
KT_API char* strcat_s(char* dst, const char* src, size_t dstSize);

// Appends at most n bytes of src to the string in the array dst of dstSize bytes, or nothing.
// Returns dst; null, with dst unchanged, when strlen(dst) + n >= dstSize (whatever the length of src) or an
// argument is null.
KT_API char* strncat_s(char* dst, const char* src, size_t n, size_t dstSize);

// Appends src up to count times to the string in the array dst of dstSize bytes, whole copies only, as
// strcat_s would. A count of 0 or less appends nothing.
// Returns the length of dst afterwards; 0 when dst is null.
KT_API int strcat_rep(char* dst, const char* src, int count, size_t dstSize);

#ifdef __cplusplus
}
#endif

#endif
