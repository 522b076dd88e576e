// Writes a report to a descriptor that somebody else owns and nobody may be reading. For signal handlers,
// too.
#ifndef KT_INTERNAL_REPORT_WRITER_H
#define KT_INTERNAL_REPORT_WRITER_H

#include <chrono>
#include <cstddef>

#include "internal/private.h"

namespace kt {

// One write call for all of `size` bytes; more when it takes less. Gives up on an error, and when `limit` has
// passed: a pipe, socket or terminal that nobody reads does not block for longer, whatever its own mode.
void writeReport(int fd, const char* data, size_t size, std::chrono::milliseconds limit);

}  // namespace kt

#endif
