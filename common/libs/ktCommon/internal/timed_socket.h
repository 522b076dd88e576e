// Exchanges with a peer that nobody vouches for: every wait has a deadline and looks for the tear-down of the
// process.
#ifndef KT_INTERNAL_TIMED_SOCKET_H
#define KT_INTERNAL_TIMED_SOCKET_H

#include <sys/types.h>

#include <chrono>
#include <cstddef>

#include "internal/private.h"

namespace kt {

using Abandoned = bool (*)();

// Waits for the first bytes and receives what is there, up to `size`.
// Returns their number; 0 when the peer closed; -1 on an error, when `limit` has passed, or when `abandoned`
// says so and nothing is there yet.
ssize_t receiveOnce(int socket, char* data, size_t size, std::chrono::milliseconds limit,
                    Abandoned abandoned);

// Sends all of data, in one call when the socket takes it. False on an error, when `limit` has passed, or
// abandoned.
bool sendAll(int socket, const char* data, size_t size, std::chrono::milliseconds limit, Abandoned abandoned);

// Throws away what the peer has sent unasked: closing a socket with unread bytes resets the connection, and
// the peer could lose a reply that it has not read yet. Never waits.
void discardReceived(int socket);

}  // namespace kt

#endif
