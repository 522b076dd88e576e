#ifndef KT_BENCH_EMPTY_CALL_H
#define KT_BENCH_EMPTY_CALL_H

// Does nothing, in a shared library of its own.
extern "C" __attribute__((visibility("default"), format(printf, 2, 3))) int emptyCall(int line,
                                                                                      const char* fmt, ...);

#endif
