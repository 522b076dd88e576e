// Tokens, numbers and checks of NUL-terminated texts.
//
// Characters are bytes; their classes are those of the C library's locale. Character arguments are compared
// as bytes: -1 and 255 name the same one. No function keeps state, allocates, blocks or is a cancellation
// point: all may run in any thread and, but for _secsToDHMS, in a signal handler. Arguments are not null
// unless said. Nothing is written beyond the size given, and with a size of 0 or less nothing at all. Source
// and destination must not overlap. Sizes are in bytes.
#ifndef KT_TEXT_SCAN_H
#define KT_TEXT_SCAN_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// The usual sets of characters that a name must not hold: ;^{}<>%'",&.` as a whole (14 bytes with the
// terminator), without comma and full stop (12), without full stop (13). A program may define its own.
extern KT_API const char INVALID_CHARS[];
extern KT_API const char INVALID_CHARS_TAG_DESC[];
extern KT_API const char INVALID_CHARS_ADDRESS[];

// Returns the next token behind position offset (-1: from the start), terminated over the white space that
// ended it; the empty string at the end of the text, with nothing written; null when s is null.
// A line is walked with (line, -1), then (token, its length). Behind the last token the walk looks one byte
// behind the terminator: the array must hold a second NUL there. It ends at the empty string.
KT_API char* _nextString(char* s, int offset);

// Returns the field behind the first run of ch, terminated at the next ch; s when it holds no ch, or ch is
// NUL (null: null); the run's first character when the run ends the text.
KT_API char* _nextString2(char* s, int ch);

// Copies what stands between key and the next delim (NUL: the text's end) into out, cut to outSize - 1 bytes.
// Returns out; null, with out untouched, when text, key or out is null, either is not found or outSize < 1.
KT_API char* _nextDelim(const char* text, const char* key, int delim, char* out, int outSize);

// Joins the arguments with blanks and trims the result. A blank or an argument that would make the text
// longer than bufSize - 2 bytes is left out whole; a null argument counts as empty.
// Returns buf; null when buf, argv or argv[0] is null, and then buf (if any) is emptied.
KT_API char* getCommandLine(int argc, char** argv, char* buf, int bufSize);

// Returns 1 when a piece of list, split at runs of the characters in delims, equals option regardless of
// case; else, and for null arguments, 0.
KT_API int checkOptionsList(const char* list, const char* delims, const char* option);

// Returns the number of bytes equal to ch; 0 for NUL.
KT_API int charCount(const char* s, int ch);

// Reads "0x" as hexadecimal (at most 0xFFFFFFFF, which is -1; dflt without a digit), "0b" as parseBinary, the
// rest as atol_s.
// Returns the number; -26743 when s is null.
KT_API int getValue(const char* s, int dflt);

// Returns the last 32 characters as binary digits; any character but "1" is a 0.
KT_API unsigned parseBinary(const char* s);

// Writes the low maxDigits bits of value without leading zeros, then fills up with "0" to minWidth
// characters. buf holds the larger of the two and a terminator. Zero and negative numbers ask for no digits.
// Returns buf; null when it is null.
KT_API char* strBin(unsigned value, char* buf, int maxDigits, int minWidth);

// Clears out, then writes 8 binary digits for each byte, with a blank behind each when spaced is not 0. Stops
// at the first group (with its blank) that does not fit. A null data counts as empty.
// Returns out; null when it is null.
KT_API char* bufAsBin(const unsigned char* data, int len, char* out, int outSize, int spaced);

// Clears out, then converts pairs of hexadecimal digits while they fit. A pair with any other character gives
// 0; a single last digit is dropped.
// Returns out; null when hex or out is null.
KT_API unsigned char* strAtoB(const char* hex, unsigned char* out, int outSize);

// Writes the bytes of s as lower-case pairs, cut to outSize bytes and then not terminated; clears the rest.
// Returns out; null when s or out is null or s is empty.
KT_API char* strBtoA(const char* s, char* out, int outSize);

// Clears buf, then writes the number with a comma between groups of three digits; nothing if it does not fit.
// Returns buf (null as it is).
KT_API char* _addCommas(unsigned long value, char* buf, int size);

// Writes days:hours:minutes:seconds, cut to size - 1 bytes.
// Returns buf (null as it is).
KT_API char* _secsToDHMS(unsigned seconds, char* buf, int size);

// Returns 1 when c is printable and not in invalid (null: no further limit). Below -128 and above 255: 0.
KT_API int isValidChr(int c, const char* invalid);

// Returns 1 when all characters are valid, 0 when one is not or s is null.
KT_API int isValidStr(const char* s, const char* invalid);

// Replaces every character that is not valid by "_".
// Returns their number.
KT_API int strClean(char* s, const char* invalid);

// Return 1 when all characters are decimal digits (letters or digits), as in the empty string; else 0.
KT_API int _isAllNumeric(const char* s);
KT_API int _isAllAlpha(const char* s);

#ifdef __cplusplus
}
#endif

#endif
