// Whole files, read and written without waiting for a device, and replaced without losing them to a thread's
// cancellation.
#ifndef KT_INTERNAL_WHOLE_FILE_H
#define KT_INTERNAL_WHOLE_FILE_H

#include <fcntl.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

#include "internal/descriptor.h"
#include "internal/heap_text.h"
#include "internal/private.h"

namespace kt {

// Whether there is anything at the path (not null), links followed. Its size goes to `size`.
bool findFile(const char* path, int64_t& size);

// A file for reading. Waits for no FIFO's other end, and takes no terminal for the process's own.
class InputFile {
  public:
    explicit InputFile(const char* path, int access = O_RDONLY);

    // False when it could not be opened, and for a null path.
    explicit operator bool() const { return size_ >= 0; }
    bool isDirectory() const { return isDirectory_; }
    int64_t size() const { return size_; }  // when it was opened; 0 of a directory
    bool isBroken() const { return isBroken_; }

    void seek(int64_t offset);

    // Returns less than `size` at the end of the file and on errors only, which isBroken tells apart.
    size_t read(char* data, size_t size);

    // All of the file in a block of its size + spare bytes, zeros behind the `got` bytes that were read. Null
    // when it is not open, above INT_MAX - spare bytes, or memory is short.
    HeapText contents(size_t spare, size_t& got);

  private:
    Descriptor fd_;
    int64_t size_ = -1;
    bool isDirectory_ = false;
    bool isBroken_ = false;
};

// A file whose contents are replaced. Created if it is missing, and left as it is until then.
class OutputFile {
  public:
    // path is not null; newMode, less the umask: of a file that is created. Neither function is a cancellation
    // point.
    explicit OutputFile(const char* path, mode_t newMode = 0666, int access = O_WRONLY);

    // False when it could not be opened, as for writing only a FIFO that nobody reads.
    explicit operator bool() const { return static_cast<bool>(fd_); }

    // Empties the file and writes `size` bytes. False when not all of them are there. The reader of a FIFO or
    // device that takes nothing for a second counts as a failure.
    bool replaceContents(const void* data, size_t size);

  private:
    Descriptor fd_;
};

}  // namespace kt

#endif
