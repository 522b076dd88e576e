// Cyclic redundancy checks of byte blocks: the CRC-32 of Ethernet and archives, and the CRC-16 of Modbus
// serial frames.
//
// Data may begin at any address. Nothing here keeps state, allocates, blocks or is a cancellation point: both
// functions may run in any thread and in a signal handler.
#ifndef KT_TEXT_CHECKSUM_H
#define KT_TEXT_CHECKSUM_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Carries a CRC-32 (polynomial 0x04C11DB7, reflected, complemented at start and end) on over the next piece
// of a block. crc: 0 for the first piece, then the result for the pieces before.
// Returns the CRC-32 of all pieces so far; crc when len (in bytes) is 0 or data is null.
KT_API unsigned CRC32_x(unsigned crc, const unsigned char* data, unsigned len) KT_WARN_UNUSED;

// Computes the CRC-16 of a block (polynomial 0x8005, reflected, from 0xFFFF, not complemented at the end). A
// serial frame carries its low byte first.
// Returns it; 0xFFFF when len (in bytes) is 0 or data is null.
KT_API unsigned short CRC16(const unsigned char* data, unsigned short len) KT_WARN_UNUSED;

#ifdef __cplusplus
}
#endif

#endif
