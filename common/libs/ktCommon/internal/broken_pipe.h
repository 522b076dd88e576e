// Writes to descriptors that somebody else owns and nobody may be reading.
#ifndef KT_INTERNAL_BROKEN_PIPE_H
#define KT_INTERNAL_BROKEN_PIPE_H

#include <signal.h>

#include "internal/private.h"

namespace kt {

// A write to a pipe or socket that nobody reads any more does not end the process while this lives. SIGPIPE
// is sent to the thread that writes: there it is blocked and, if it came meanwhile, taken back. For signal
// handlers, too.
class BrokenPipeIgnored {
  public:
    BrokenPipeIgnored();
    ~BrokenPipeIgnored();
    BrokenPipeIgnored(const BrokenPipeIgnored&) = delete;
    BrokenPipeIgnored& operator=(const BrokenPipeIgnored&) = delete;

  private:
    sigset_t previous_;
    bool wasPending_;
};

}  // namespace kt

#endif
