#include "internal/report_writer.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "internal/descriptor.h"
#include "internal/fatal_report.h"

namespace kt {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// The mode of a descriptor is shared with whoever else holds it and must stay as it is. But a pipe or
// terminal can be opened once more, with a mode of our own.
int openWithoutBlocking(int fd) {
    char path[32];
    snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    return open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

}  // namespace

void writeReport(int fd, const char* data, size_t size, milliseconds limit) {
    const steady_clock::time_point deadline = steady_clock::now() + limit;
    struct stat status = {};
    fstat(fd, &status);
    const bool isSocket = S_ISSOCK(status.st_mode);
    const bool mayBlock = S_ISFIFO(status.st_mode) || isatty(fd) != 0;
    const Descriptor own(mayBlock ? openWithoutBlocking(fd) : -1);
    const int target = own ? own.get() : fd;
    // A pipe that is writable takes this much at once.
    const size_t piece = mayBlock && !own ? PIPE_BUF : size;
    bool mustWait = mayBlock && !own;

    while (size > 0) {
        if (mustWait && !waitUntilWritable(target, deadline)) {
            return;
        }
        fatal::giveWay();  // the text may no longer be the caller's
        const size_t next = std::min(size, piece);
        const ssize_t written =
            isSocket ? send(target, data, next, MSG_DONTWAIT | MSG_NOSIGNAL) : write(target, data, next);
        if (written > 0) {
            data += written;
            size -= static_cast<size_t>(written);
        } else if (written < 0 && errno == EAGAIN) {
            mustWait = true;
        } else if (written == 0 || errno != EINTR) {
            return;
        }
    }
}

}  // namespace kt
