// The gates for 32-bit ARM: r0 to r3 and the stack reach ktDebugWrite as they came.
#include "diag/debug.h"

#define KT_GATE(name, bit)                                                  \
    __attribute__((naked, target("arm"))) int name(int, const char*, ...) { \
        asm("   ldr ip, 2f                                 \n"              \
            "1: ldr ip, [pc, ip]                           \n"              \
            "   ldr ip, [ip]                               \n"              \
            "   tst ip, %0                                 \n"              \
            "   bne ktDebugWrite                           \n"              \
            "   mov r0, #0                                 \n"              \
            "   bx lr                                      \n"              \
            "2: .word gDebugMode(GOT_PREL) + (. - 1b - 8)  \n" ::"i"(bit)); \
    }

#include "diag/debug_gates.inc"
