// A text buffer that grows by a fixed step while text is formatted into it: the cheap way to build a long
// text of many pieces, since an append costs only its own length. Neither function blocks or is a
// cancellation point.
#ifndef KT_TEXT_APPEND_BUFFER_H
#define KT_TEXT_APPEND_BUFFER_H

#include <stddef.h>
#include <stdint.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// The record belongs to the caller; `buffer` belongs to the record and is released by the caller with free().
typedef struct AppendBufControl {
    int32_t threshold;  // free space at or below which the next append grows first: the longest text of one
                        // append
    int32_t increment;  // bytes added at each growth; more than threshold
    char* buffer;       // the text, NUL-terminated; null until the first append
    int32_t used;       // length of the text
    int32_t size;       // bytes allocated
    int32_t space;      // size - used: bytes free behind the text, the terminator's place included
} AppendBufControl;

// Sets both numbers (bytes) and an empty, unallocated buffer. Note the order: increment first. c must not be
// null. Takes no lock: a record that several threads use needs the caller's own.
KT_API void InitAppendBufControl(AppendBufControl* c, int increment, int threshold);

// Appends the formatted text, growing by one increment first when `space` has fallen to the threshold; the
// first append allocates exactly one increment. A text longer than the threshold allows for is not cut: the
// buffer then grows by as many further increments as it needs and the text is formatted again, so fmt's
// arguments must not point into the buffer. Neither pointer may be null. Takes no lock; allocates, so not for
// signal handlers.
// Returns the number of characters appended
//      0  an empty text
//     -2  no memory, or an increment that cannot make room; the text so far stays as it was
//     other negative: the formatter's result; the text so far stays as it was
KT_API int AppendBuf(AppendBufControl* c, const char* fmt, ...) KT_PRINTF(2, 3);

#ifdef __cplusplus
}
#endif

#endif
