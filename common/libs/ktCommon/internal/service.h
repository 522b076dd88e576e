// A connection to one of the gateway's daemons, which closes itself, and requests to it.
#ifndef KT_INTERNAL_SERVICE_H
#define KT_INTERNAL_SERVICE_H

#include <sys/types.h>

#include <cstddef>

#include "internal/private.h"

namespace kt {

class Service {
  public:
    // component: the daemon to reach; also who asks. A cancellation point.
    explicit Service(int component);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    explicit operator bool() const { return socket_ >= 1; }

    // Both wait without a limit and are cancellation points. Only a signal makes sending more than one call;
    // when the rest cannot be sent, that is all: a daemon that closes early has answered, perhaps.
    void send(const char* data, size_t size) const;

    // Returns the number of bytes received, at most `size`; 0 at the end; negative on an error.
    ssize_t receive(char* data, size_t size) const;

  private:
    int socket_;
};

}  // namespace kt

#endif
