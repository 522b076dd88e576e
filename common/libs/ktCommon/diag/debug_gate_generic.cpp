// The gates in portable form, for sanitizers and for architectures without a form of their own.
#include "diag/debug.h"

#define KT_GATE(name, bit)                                                   \
    int name(int line, const char* fmt, ...) {                               \
        if ((__atomic_load_n(&gDebugMode, __ATOMIC_RELAXED) & (bit)) != 0) { \
            va_list ap;                                                      \
            va_start(ap, fmt);                                               \
            __debugCore(line, fmt, ap);                                      \
            va_end(ap);                                                      \
        }                                                                    \
        return 0;                                                            \
    }

#include "diag/debug_gates.inc"
