// The trace files that daemons leave behind.
#ifndef KT_DIAG_TRACE_FILES_H
#define KT_DIAG_TRACE_FILES_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// "/usr/local/data/traces/", their directory with its final slash. Weak: a program may define its own.
extern KT_API const char TRACE_PATH[];

#ifdef __cplusplus
}
#endif

#endif
