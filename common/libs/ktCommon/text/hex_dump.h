// Blocks of bytes as hexadecimal text, for traces.
//
// Printable characters are those of the C library's locale. No function keeps state, allocates, blocks or is
// a cancellation point: all may run in any thread; none is for signal handlers. Nothing is written beyond
// outSize bytes; with an outSize of 0 or less nothing is written at all. data and out must not overlap.
#ifndef KT_TEXT_HEX_DUMP_H
#define KT_TEXT_HEX_DUMP_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Writes a header line, then a line for every 16 bytes: the indent, the offset in at least four digits, the
// bytes in upper-case hexadecimal, their printable characters (a full stop for any other). The indent is a
// blank right-aligned in `indent` columns: 0 and 1 give the same. At indent 1 the header line takes 55 bytes
// with its line feed and a whole line 74, from offset 0x10000 on 75 and so forth.
// The text is made of pieces: the header line, a line's offset, each byte with its blank, the blanks that
// fill a short line, two blanks, the characters, the line feed. A piece that does not fit with the terminator
// is left out whole, and the following ones are still tried. Returns out, empty when len is 0 or less; null,
// with out untouched, when data or out is null or indent is above 40.
KT_API char* strHexout(const unsigned char* data, int len, char* out, int outSize, unsigned indent);

// Clears all outSize bytes of out, then writes the bytes as pairs of upper-case digits: as many whole bytes
// as leave room for the terminator. Returns out; null when data or out is null.
KT_API char* strHexoutRaw(const unsigned char* data, int len, char* out, int outSize);

#ifdef __cplusplus
}
#endif

#endif
