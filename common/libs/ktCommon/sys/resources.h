// Disk, memory and processor figures, as the board's command-line tools tell them.
//
// Each function runs the tool, reads its output and keeps nothing. What a tool prints beyond the size named
// below is lost by whole lines; a tool that cannot be started, and a command line too long for its array,
// which is not run, read as no output. Words longer than their field are cut, numbers beyond 32 bits are
// INT_MAX; a figure that the output does not have stays 0. Key words are found at their first occurrence,
// wherever that is. Paths and names go to the shell as they are: pass only trusted text.
//
// The records belong to the caller. Every function may run in any thread, blocks as long as its commands run,
// and is a cancellation point that loses nothing. errno is not kept. Not for signal handlers.
#ifndef KT_SYS_RESOURCES_H
#define KT_SYS_RESOURCES_H

#include <stdint.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

#define KT_RESOURCE_WORD_SIZE 20  // bytes, terminator included

// A line of "/bin/df -k".
typedef struct DiskSpaceInfo {
    char filesystem[KT_RESOURCE_WORD_SIZE];  // device
    int32_t totalKB;                         // in blocks of 1024 bytes, as the next two
    int32_t usedKB;
    int32_t availableKB;
    char usePercent[KT_RESOURCE_WORD_SIZE];  // with its per cent sign
    char mountPoint[KT_RESOURCE_WORD_SIZE];
} DiskSpaceInfo;

// The line "Mem:" of "/usr/bin/free -b", in bytes.
typedef struct MemoryInfo {
    char label[KT_RESOURCE_WORD_SIZE];  // "Mem:"
    int32_t total;
    int32_t used;
    int32_t free;
    int32_t shared;
    int32_t column5;  // what the tool at hand has there
    int32_t column6;
} MemoryInfo;

// The memory of a process and of the system.
typedef struct MemUseInfo {
    int32_t rssKB;       // resident set of the process, in units of 1024 bytes
    char memPercent[8];  // its share of the memory as text; the last byte is never written
    int32_t usedBytes;   // of the system's memory
    int32_t freeBytes;
    char uptime[63];  // of the system: days:hours:minutes:seconds
} MemUseInfo;

// Runs "/usr/bin/du -c PATH" (a command of at most 255 characters). Lines that no longer fit in 2047 bytes of
// output are left out, in a tree of many directories perhaps the total.
// Returns the total in blocks of 1024 bytes
//      0  there is no total, or it is 0
//     -1  path is null
KT_API int getDiskUsage(const char* path);

// Clears the record and fills it from the listing of "/bin/df -k" (4095 bytes), read from where `device` first
// occurs, if only as a part of a longer name.
// Returns 0
//     -1  device is null
//     -2  out is null
//     -3  it does not occur; the record is all zero
KT_API int getFreeDisk(const char* device, DiskSpaceInfo* out);

// getFreeDisk of "/dev/mapper/cryptroot", the encrypted root device, or else of "/dev/root", the plain one.
KT_API int getOverlayFreeSpace(DiskSpaceInfo* out);

// Clears the record and fills it from the output of "/usr/bin/free -b" (4095 bytes).
// Returns 0
//     -1  out is null
//     -2  there is no "Mem:"; the record is all zero
KT_API int getFreeMem(MemoryInfo* out);

// Returns the load average of the last minute times 100, from "/proc/loadavg"; 0 when that cannot be read.
KT_API int getCPULoad(void);

// Watches for one second, or until a signal's handler returns, how much time the system spends for the process
// that getProcessID finds (field 15 of its stat line, counted by blanks: a name with blanks shifts it).
// Returns the system-mode time in clock ticks. A process that ends meanwhile counts as back at 0: any negative
//         number, without a line
//     -1  processName is null
//     -2  there is no such process; both also say so in a line on standard output
KT_API int getProcessLoading(const char* processName);

// Fills uptime, then usedBytes and freeBytes from "free -b" (255 bytes), then rssKB and memPercent from the
// lines of "ps axv" that hold processName (at most 255 characters; output 255 bytes), read from the first "?"
// in any of them, the terminal column of a process without one, or if there is none from the first "ttymxc6",
// the serial console. Pass a record of zeros: what is not filled, and the last byte of memPercent, stays as it
// was.
// Returns 0
//     -1  something is missing: also said on standard output, in one line or with what was read. A null
//         processName fills the first three; nothing is done when out is null.
KT_API int queryMemUse(const char* processName, MemUseInfo* out);

#ifdef __cplusplus
}
#endif

#endif
