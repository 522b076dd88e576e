// What every public header needs of the compiler and nothing more. The attributes vanish on compilers without
// them.
#ifndef KT_INTERNAL_API_H
#define KT_INTERNAL_API_H

#if defined(__GNUC__)
#define KT_API __attribute__((visibility("default")))
#define KT_WEAK __attribute__((weak))
#define KT_PRINTF(formatIndex, firstArgument) __attribute__((format(printf, formatIndex, firstArgument)))
#define KT_MALLOC __attribute__((malloc))
#define KT_WARN_UNUSED __attribute__((warn_unused_result))
#define KT_NORETURN __attribute__((noreturn))
#else
#define KT_API
#define KT_WEAK
#define KT_PRINTF(formatIndex, firstArgument)
#define KT_MALLOC
#define KT_WARN_UNUSED
#define KT_NORETURN
#endif

#endif
