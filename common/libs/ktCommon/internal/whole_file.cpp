// On the board, too, files go beyond 2 GiB, and their times beyond 2038: with less, stat fails for them.
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64

#include "internal/whole_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "internal/broken_pipe.h"
#include "internal/uncancelled.h"

namespace kt {
namespace {

constexpr int kOpenSafely = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr std::chrono::seconds kPatience{1};

int openUncancelled(const char* path, mode_t newMode, int access) {
    const Uncancelled uncancelled;
    return open(path, access | O_CREAT | kOpenSafely, newMode);
}

}  // namespace

bool findFile(const char* path, int64_t& size) {
    struct stat state;
    if (stat(path, &state) != 0) {
        return false;
    }
    size = state.st_size;
    return true;
}

InputFile::InputFile(const char* path, int access)
    : fd_(path == nullptr ? -1 : open(path, access | kOpenSafely)) {
    struct stat state;
    if (fd_ && fstat(fd_.get(), &state) == 0) {
        isDirectory_ = S_ISDIR(state.st_mode);
        size_ = isDirectory_ ? 0 : state.st_size;
    }
}

void InputFile::seek(int64_t offset) {
    lseek(fd_.get(), offset, SEEK_SET);
}

// Never inlined: the compiler would see that an empty file's block is all zeros, and clear those of all files
// before they are read.
__attribute__((noinline)) size_t InputFile::read(char* data, size_t size) {
    size_t got = 0;
    while (got < size) {
        const ssize_t received = ::read(fd_.get(), data + got, size - got);
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received <= 0) {
            isBroken_ = received < 0;
            break;
        }
        got += static_cast<size_t>(received);
    }
    return got;
}

HeapText InputFile::contents(size_t spare, size_t& got) {
    if (size_ < 0 || size_ > INT_MAX - static_cast<int64_t>(spare)) {
        return nullptr;
    }
    const auto size = static_cast<size_t>(size_);
    HeapText block(static_cast<char*>(malloc(size + spare)));
    if (block != nullptr) {
        got = read(block.get(), size);
        memset(block.get() + got, 0, size + spare - got);
    }
    return block;
}

OutputFile::OutputFile(const char* path, mode_t newMode, int access)
    : fd_(openUncancelled(path, newMode, access)) {}

bool OutputFile::replaceContents(const void* data, size_t size) {
    const Uncancelled uncancelled;
    const BrokenPipeIgnored brokenPipeIgnored;
    const bool isEmpty = ftruncate(fd_.get(), 0) == 0 || errno == EINVAL;  // of a FIFO or device
    const auto goesOn = [this] {
        return waitUntilWritable(fd_.get(), std::chrono::steady_clock::now() + kPatience);
    };
    return isEmpty && writeAll(fd_.get(), static_cast<const char*>(data), size, goesOn) && fd_.close();
}

}  // namespace kt
