// The files that trace and capture tools write: old ones deleted, and names for new ones.
//
// Both functions may run in any thread; neither is for signal handlers. errno is not kept.
#ifndef KT_DIAG_TRACE_FILES_H
#define KT_DIAG_TRACE_FILES_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// "/usr/local/data/traces/", their directory with its final slash. Weak: a program may define its own.
extern KT_API const char TRACE_PATH[];

// DELETES the trace files that were last modified more than 864000 seconds (10 days) ago: what stands in
// TRACE_PATH and has ".log" or ".pcap" anywhere in its name. Each is announced before in a debug line and an
// engineering message (component 308); also, at every call, one that cannot be deleted, as a subdirectory,
// which is not entered. A file from the future is told in a debug line. What cannot be examined is passed over.
// Blocks for as long as the file system does; a cancellation point that loses nothing.
// Returns 0.
KT_API int cleanOldTracerFiles(void);

// Makes a file name of the current values of tags.
// tagIds: decimal ids between commas, each in braces or not, without blanks before a brace ("{12},{15}").
//     What stands between two commas counts unless it is empty: what is no number is tag 0. A value that
//     cannot be had is empty.
// separator: text between two values; may be null.
// In these every blank becomes "_", and every ":" and "/" is removed.
// prefix: put in front as it is, usually a directory; may be null.
// suffix: put at the end as it is; may be null.
// Should prefix and values be longer than 250 characters, they are cut so that the name has 250 with the
// suffix; nothing is left of them before a suffix of 250 and more. If they are not, they just get the suffix.
// The suffix is never cut, so a name may have more than 250. Blocks for as long as the tag library does, and is
// a cancellation point if that is one.
// Returns the name as a new string, which the caller frees; "Need_file_params", likewise, when tagIds is
// null; null when memory is short.
KT_API char* buildOutputFilename(const char* prefix, const char* tagIds, const char* separator,
                                 const char* suffix) KT_MALLOC KT_WARN_UNUSED;

#ifdef __cplusplus
}
#endif

#endif
