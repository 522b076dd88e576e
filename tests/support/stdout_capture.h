// Standard output turned elsewhere at its descriptor, which also reaches writes past stdout's buffer and
// children.
#ifndef KT_TESTS_SUPPORT_STDOUT_CAPTURE_H
#define KT_TESTS_SUPPORT_STDOUT_CAPTURE_H

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace kt::test {

// Failures that the body reports go there as well and are not seen: check afterwards.
template <typename Body>
void withStdoutAt(int fd, Body body) {
    fflush(stdout);
    const int saved = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    dup2(fd, STDOUT_FILENO);
    body();
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
}

// What arrives at descriptor 1 while the body runs; what the body leaves in stdout's buffer does not count.
template <typename Body>
std::string printedBy(Body body) {
    const int file = memfd_create("stdout", MFD_CLOEXEC);
    std::string text;
    withStdoutAt(file, [&] {
        body();
        text.resize(static_cast<size_t>(lseek(file, 0, SEEK_END)));
    });
    const ssize_t length = pread(file, text.data(), text.size(), 0);
    close(file);
    return length == static_cast<ssize_t>(text.size()) ? text : "standard output could not be read back";
}

}  // namespace kt::test

#endif
