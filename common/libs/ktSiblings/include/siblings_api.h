/* Compiler knowledge that the siblings share; every macro vanishes on an unknown compiler. */
#ifndef KT_SIBLINGS_API_H
#define KT_SIBLINGS_API_H

#if defined(__GNUC__)
/* Default, never protected: a program replaces a sibling's name by defining it. */
#define KT_SIBLINGS_API __attribute__((__visibility__("default")))
#define KT_SIBLINGS_PRINTF(text, first) __attribute__((__format__(__printf__, text, first)))
#define KT_SIBLINGS_MUST_USE __attribute__((__warn_unused_result__))
#define KT_SIBLINGS_MALLOC __attribute__((__malloc__, __warn_unused_result__))
#else
#define KT_SIBLINGS_API
#define KT_SIBLINGS_PRINTF(text, first)
#define KT_SIBLINGS_MUST_USE
#define KT_SIBLINGS_MALLOC
#endif

#endif
