// The rule of the wildcards, carried out literally: what patMatch is compared with. form: identity or toupper.
#ifndef KT_TESTS_SUPPORT_PLAIN_WILDCARD_H
#define KT_TESTS_SUPPORT_PLAIN_WILDCARD_H

inline bool covers(const char* p, const char* t, int (*form)(int)) {
    if (*p == '*') { return covers(p + 1, t, form) || (*t != '\0' && covers(p, t + 1, form)); }
    return *p == '\0' || *t == '\0' ? *p == *t
                                    : (*p == '?' || form(*p) == form(*t)) && covers(p + 1, t + 1, form);
}

inline int identity(int c) { return c; }

#endif
