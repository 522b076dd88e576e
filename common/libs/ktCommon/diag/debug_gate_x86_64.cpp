// The gates for x86-64: all argument registers, %al among them, reach ktDebugWrite as they came.
#include "diag/debug.h"

#define KT_GATE(name, bit)                                             \
    __attribute__((naked)) int name(int, const char*, ...) {           \
        asm("movq gDebugMode@GOTPCREL(%%rip), %%r11 \n\t"              \
            "testl %0, (%%r11)                      \n\t"              \
            "jne ktDebugWrite                       \n\t"              \
            "xorl %%eax, %%eax                      \n\t"              \
            "ret                                    \n\t" ::"i"(bit)); \
    }

#include "diag/debug_gates.inc"
