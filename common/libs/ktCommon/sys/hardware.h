// The board's registers and input keys, the links of its Ethernet ports, and the daemon of its serial ports.
//
// Every function may run in any thread; none is for signal handlers. errno is not kept.
#ifndef KT_SYS_HARDWARE_H
#define KT_SYS_HARDWARE_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Maps the 4096-byte page of a physical address from "/dev/mem", which the first call opens for the process,
// close-on-exec, and nobody closes. When that fails it is not tried again, and every mapping fails. Failures
// are reported on standard error, as perror does, behind "open("/dev/mem")" and "mmap()". Opening and
// reporting are cancellation points.
// reg: receives the address of the register in the page; not null, untouched on failure.
// Returns the start of the page, which the caller releases with munmap of 4096 bytes; null on failure.
KT_API void* memmapInit(unsigned physAddr, void** reg);

// Read and write a register of 16 (w) or 32 bits (l) at a physical address, mapped for this call alone, by one
// access of that width. When the page cannot be mapped, or the address is not a multiple of the width (no
// processor bus does that in one access), nothing is touched.
// Return the value, 0 when nothing was touched; memmapPutw and memmapPutl always 0.
KT_API unsigned short memmapGetw(unsigned physAddr);
KT_API unsigned memmapGetl(unsigned physAddr);
KT_API int memmapPutw(unsigned physAddr, unsigned short value);
KT_API int memmapPutl(unsigned physAddr, unsigned value);

// Asks an open input event device (/dev/input/event...) for its keys by EVIOCGKEY. keyCode: KEY_... of
// linux/input.h, 0 to 767. Note that the result is the inverse of the key's bit.
// Returns 0 when the bit is set
//     1  it is clear, the device does not answer, or there is no such key
KT_API int isKeyPressed(int fd, int keyCode);

// Stores 1 in *link1 and *link2 (not null) when Ethernet port 1, port 2 has a link, else 0.
// Returns 0. Blocks for as long as the network library does.
KT_API int chkLinkState(int* link1, int* link2);

// Has the daemon of the serial ports (component 334) answer: connects, sends request (without its terminator)
// and receives until the daemon closes, without a limit. Of each piece that arrives (at most 128 bytes) what
// stands before its first NUL counts. The reply takes time linear to its length. When nobody listens
// "_getSerialThreadValue, socketOpenWriter FAILED." is printed, as a line. A cancellation point that loses
// nothing.
// Returns the reply as a new string, which the caller frees; null when there was no connection, nothing was
// received, memory is short, or request is null.
KT_API char* _getSerialThreadValue(const char* request) KT_MALLOC KT_WARN_UNUSED;

#ifdef __cplusplus
}
#endif

#endif
