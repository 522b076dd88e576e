// Decimal numbers out of text that may be missing: tool output, configuration rows, command arguments.
//
// Leading white space and a sign are allowed, reading stops at the first character that does not belong to
// the number, and a text without digits is 0. The results are the board's on every host: integers read
// outside 32 bits become the nearest 32-bit value. atof_s goes by the locale's decimal point; numbers out of
// range may set errno. Nothing here allocates, blocks or is a cancellation point; every function may run in
// any thread and in signal handlers.
#ifndef KT_TEXT_CONVERT_H
#define KT_TEXT_CONVERT_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Returns the number at the start of s; dflt when s is null.
KT_API int atoi_s(const char* s, int dflt);
KT_API long atol_s(const char* s, long dflt);

// Returns the decimal, hexadecimal or exponent form that strtod reads, rounded to single precision; dflt when
// s is null.
KT_API float atof_s(const char* s, float dflt);

#ifdef __cplusplus
}
#endif

#endif
