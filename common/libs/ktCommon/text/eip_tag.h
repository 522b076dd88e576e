// Which tags map to an EtherNet/IP assembly object.
#ifndef KT_TEXT_EIP_TAG_H
#define KT_TEXT_EIP_TAG_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Tells whether a tag of an EtherNet/IP device is named by an assembly object: a decimal number, which a
// decimal index in square brackets may follow, as in 100 or 100[3].
// record: the tag subsystem's description of the tag. Of it only the eighth pointer-sized word is read (byte
// 28 on the board), a char* to the name of the tag's device or driver, which contains "EthernetIP" for such a
// device. The record is eight such words long at least and may lie at any address.
// Writes what it found as one line of __debug, which may block and is a cancellation point; not for signal
// handlers. Keeps no state: any thread may call it.
// Returns 1 if so; 0 otherwise, also when the record or the name in it is null (as for a device of another
// kind) and when tagName is (as for a name of another form; the line shows "(null)").
KT_API int isEipAssemblyObjectTagMap(const char* tagName, const void* record);

#ifdef __cplusplus
}
#endif

#endif
