#include "sys/capture.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "internal/heap_text.h"

namespace {

constexpr int kNoCommand = -1;
constexpr int kNoOutput = -2;
constexpr int kNotStarted = -3;
constexpr size_t kLongestPiece = 1023;
constexpr size_t kBlockSize = 16384;  // a quarter of a pipe, and of the smallest stack that threads are given

// A running command's output. finish() waits for the command; the destructor does so only when a cancelled
// thread unwinds, where waiting is no cancellation point any more.
class CommandOutput {
  public:
    // A null line, for want of memory, starts nothing.
    explicit CommandOutput(const char* line) : stream_(line == nullptr ? nullptr : popen(line, "re")) {}
    ~CommandOutput() { finish(); }
    CommandOutput(const CommandOutput&) = delete;
    CommandOutput& operator=(const CommandOutput&) = delete;

    FILE* stream() const { return stream_; }
    void finish() {
        if (FILE* stream = std::exchange(stream_, nullptr)) {
            pclose(stream);
        }
    }

  private:
    FILE* stream_;
};

// Cuts output that arrives in blocks into pieces and keeps those that fit. Straight from the block: only a
// piece that goes on in the next one is put aside.
class PieceCollector {
  public:
    PieceCollector(char* output, size_t size) : output_(output), size_(size) {}

    void take(const char* data, size_t length) {
        size_t taken = pending_ > 0 ? takePiece(data, length) : 0;
        if (pending_ == 0) {
            taken += takeLines(data + taken, length - taken);
        }
        while (taken < length) {
            taken += takePiece(data + taken, length - taken);
        }
    }

    size_t used() const { return used_; }

  private:
    // Where pieces do begin and end makes no difference as long as all of them fit and none holds a NUL.
    size_t takeLines(const char* data, size_t length) {
        const void* last = memrchr(data, '\n', length);
        const size_t lines =
            last == nullptr ? 0 : static_cast<size_t>(static_cast<const char*>(last) - data) + 1;
        if (lines >= size_ - used_ || memchr(data, '\0', lines) != nullptr) {
            return 0;
        }
        append(data, lines);
        return lines;
    }

    size_t takePiece(const char* data, size_t length) {
        const size_t room = kLongestPiece - pending_;
        const size_t span = std::min(length, room);
        const char* lineFeed = static_cast<const char*>(memchr(data, '\n', span));
        const size_t taken = lineFeed == nullptr ? span : static_cast<size_t>(lineFeed - data) + 1;
        const bool isWhole = lineFeed != nullptr || taken == room;
        if (isWhole && pending_ == 0) {
            append(data, taken);
            return taken;
        }
        memcpy(unfinished_ + pending_, data, taken);
        pending_ += taken;
        if (isWhole) {
            append(unfinished_, std::exchange(pending_, 0));
        }
        return taken;
    }

    void append(const char* piece, size_t length) {
        const size_t text = strnlen(piece, length);
        if (text < size_ - used_) {
            memcpy(output_ + used_, piece, text);
            used_ += text;
            output_[used_] = '\0';
        }
    }

    char* output_;
    size_t size_;
    size_t used_ = 0;
    char unfinished_[kLongestPiece];
    size_t pending_ = 0;
};

size_t collect(int pipe, char* output, size_t size) {
    PieceCollector collector(output, size);
    char block[kBlockSize];
    ssize_t received;
    while ((received = read(pipe, block, sizeof block)) > 0 || (received < 0 && errno == EINTR)) {
        collector.take(block, static_cast<size_t>(std::max<ssize_t>(received, 0)));
    }
    return collector.used();
}

// Runs the command with what stands between `opening` and `closing` behind it.
int capture(const char* command, const char* opening, const char* argument, const char* closing, char* output,
            size_t size) {
    if (command == nullptr) {
        return kNoCommand;
    }
    if (output == nullptr) {
        return kNoOutput;
    }
    if (size > 0) {
        *output = '\0';
    }
    const kt::HeapText line = kt::formatted("%s%s%s%s", command, opening, argument, closing);
    CommandOutput running(line.get());
    if (running.stream() == nullptr) {
        return kNotStarted;
    }
    const size_t length = collect(fileno(running.stream()), output, size);
    running.finish();
    return static_cast<int>(length);
}

}  // namespace

int systemBufferEcho(const char* command, const char* argument, char* output, size_t outputSize) {
    return argument == nullptr ? capture(command, "", "", "", output, outputSize)
                               : capture(command, " \"", argument, "\"", output, outputSize);
}

int sysBuffEcho_alt(const char* command, const char* argument, char* output, size_t outputSize) {
    return capture(command, " ", argument == nullptr ? "" : argument, "", output, outputSize);
}
