// Standard output, or error, turned elsewhere at its descriptor, which also reaches writes past the stream's
// buffer and children.
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
void withStdoutAt(int fd, Body body, FILE* stream = stdout) {
    fflush(stream);
    const int saved = fcntl(fileno(stream), F_DUPFD_CLOEXEC, 3);
    dup2(fd, fileno(stream));
    body();
    fflush(stream);
    dup2(saved, fileno(stream));
    close(saved);
}

// What arrives at the stream's descriptor while the body runs; what the body leaves in its buffer does not
// count.
template <typename Body>
std::string printedBy(Body body, FILE* stream = stdout) {
    const int file = memfd_create("printed", MFD_CLOEXEC);
    std::string text;
    const auto measured = [&] {
        body();
        text.resize(static_cast<size_t>(lseek(file, 0, SEEK_END)));
    };
    withStdoutAt(file, measured, stream);
    const ssize_t length = pread(file, text.data(), text.size(), 0);
    close(file);
    return length == static_cast<ssize_t>(text.size()) ? text : "what was printed could not be read back";
}

// With what the body leaves in the buffer.
template <typename Body>
std::string allPrintedBy(Body body) {
    return printedBy([&] { body(), fflush(stdout); });
}

}  // namespace kt::test

#endif
