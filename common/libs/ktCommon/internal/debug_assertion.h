// The library's debug-only assertion: a report with a backtrace while DEBUG_GENERAL is set, never an end of
// the process.
#ifndef KT_INTERNAL_DEBUG_ASSERTION_H
#define KT_INTERNAL_DEBUG_ASSERTION_H

#include "internal/private.h"

namespace kt {

// While DEBUG_GENERAL is set: reports that `expression` does not hold, with the source line of the caller, in
// the library's main source file.
void reportFailedAssertion(const char* expression, int line, const char* comment);

}  // namespace kt

#endif
