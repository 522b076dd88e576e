// An open file descriptor with one owner, and writes that do not stop half-way.
#ifndef KT_INTERNAL_DESCRIPTOR_H
#define KT_INTERNAL_DESCRIPTOR_H

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <utility>

#include "internal/private.h"
#include "internal/uncancelled.h"
#include "internal/uninterrupted.h"

namespace kt {

// close is a cancellation point, and an unwinding that starts in a destructor would end the process.
inline void closeUncancelled(int fd) {
    const Uncancelled uncancelled;
    close(fd);
}

class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) {
            closeUncancelled(fd_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }

    // False when what was written is lost.
    bool close() { return ::close(release()) == 0; }

  private:
    int fd_;
};

// False when that does not come about before the deadline.
inline bool waitUntilWritable(int fd, std::chrono::steady_clock::time_point deadline) {
    using std::chrono::milliseconds;
    pollfd entry = {fd, POLLOUT, 0};
    const int ready = uninterrupted([&] {
        const auto left =
            std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        return left > 0 ? poll(&entry, 1, static_cast<int>(left)) : 0;
    });
    return ready > 0;
}

// One write call for all of `size` bytes; only a signal or a short write makes it more, and a descriptor that is
// full while goesOn says so. False when the rest is lost.
template <typename GoesOn>
bool writeAll(int fd, const char* data, size_t size, GoesOn goesOn) {
    while (size > 0) {
        const ssize_t written = write(fd, data, size);
        if (written < 0 && (errno == EINTR || (errno == EAGAIN && goesOn()))) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

inline bool writeAll(int fd, const char* data, size_t size) {
    return writeAll(fd, data, size, [] { return false; });
}

}  // namespace kt

#endif
