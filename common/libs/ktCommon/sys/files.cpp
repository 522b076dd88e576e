#include "sys/files.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "diag/debug.h"
#include "internal/component_ids.h"
#include "internal/heap_text.h"
#include "internal/whole_file.h"
#include "logging.h"
#include "sys/shell.h"
#include "text/growable.h"
#include "time/timestamp.h"

namespace {

constexpr int kRefused = -1;
constexpr int kNotOpened = -2;
constexpr int kNoNeedle = -2;
constexpr int kNotEditable = -3;
constexpr size_t kContentSpare = 4;
constexpr size_t kEditSpare = 2048;
constexpr size_t kInvertedSpare = 10;
constexpr size_t kBlockSize = 16384;  // a quarter of the smallest stack that threads are given

using kt::InputFile;
using kt::OutputFile;

bool isFile(const InputFile& file) {
    return file && !file.isDirectory();
}

char* wholeFile(const char* path, int* size) {
    InputFile file(path);
    size_t got = 0;
    kt::HeapText block = isFile(file) ? file.contents(kContentSpare, got) : nullptr;
    if (size != nullptr) {
        *size = static_cast<int>(got);
    }
    return block.release();
}

int firstBytes(const char* path, void* buffer, size_t capacity) {
    if (buffer == nullptr) {
        return kRefused;
    }
    memset(buffer, 0, capacity);
    InputFile file(path);
    const size_t got =
        isFile(file) ? file.read(static_cast<char*>(buffer), std::min(capacity, size_t{INT_MAX})) : 0;
    return got > 0 ? static_cast<int>(got) : kRefused;
}

void makeDirectoryOf(const char* path) {
    const char* slash = strrchr(path, '/');
    if (slash != nullptr && slash != path) {
        systemEx("/bin/mkdir -p %.*s", static_cast<int>(slash - path), path);
    }
}

// Replaces what stands from `from` to `to` in a buffer with room for both.
void splice(char* from, const char* to, const char* text) {
    const size_t length = strlen(text);
    memmove(from + length, to, strlen(to) + 1);
    std::copy_n(text, length, from);
}

void deleteTo(char* match, const char* mark) {
    char* lineFeed = match == nullptr ? nullptr : strchr(match, '\n');
    const char* found = lineFeed == nullptr ? nullptr : strstr(lineFeed + 1, mark);
    if (found != nullptr) {
        splice(lineFeed + 1, found, "");
    }
}

// False for an unknown mode. match is null without a needle, which only MODIFY_DELETE_TO allows.
bool edit(char* match, const char* text, unsigned mode, int direction, int lines) {
    if (mode == MODIFY_DELETE_TO) {
        deleteTo(match, text);
        return true;
    }
    if (mode != MODIFY_INSERT && mode != MODIFY_REPLACE) {
        return false;
    }
    char* const end = match + strlen(match);
    char* const target = _setLine(lines, direction, match, end);
    splice(target, mode == MODIFY_INSERT ? target : _setLine(1, 0, target, end), text);
    return true;
}

int reportNotOpened(const char* path) {
    logError(kt::component::kCommon, "Couldn't open %s", path);
    return kNotEditable;
}

// Null when it could not be read as a whole: writing it back would lose the rest.
kt::HeapText textToEdit(const char* path, size_t spare) {
    InputFile file(path, O_RDWR);
    size_t got = 0;
    kt::HeapText content = isFile(file) ? file.contents(spare, got) : nullptr;
    return file.isBroken() ? nullptr : std::move(content);
}

// Builds a text with its lines in reverse order out of pieces that come from its end to its start. Each line
// is copied to its place at once, but for one whose beginning is still to come: that waits at the end of the
// block.
class LineInverter {
  public:
    explicit LineInverter(size_t size)
        : size_(size), block_(static_cast<char*>(malloc(size + kInvertedSpare))) {}

    explicit operator bool() const { return block_ != nullptr; }

    void take(const char* piece, size_t length) {
        const char* lineFeed;
        while ((lineFeed = static_cast<const char*>(memrchr(piece, '\n', length))) != nullptr) {
            const auto start = static_cast<size_t>(lineFeed - piece);
            append(lineFeed, length - start);
            append(waiting(), waiting_);
            waiting_ = 0;
            length = start;
        }
        waiting_ += length;
        memcpy(waiting(), piece, length);
    }

    // The text ends where the next piece does.
    void restart() { used_ = waiting_ = 0; }

    // A first line without a line feed of its own is left out.
    char* finish() {
        const size_t length = used_ + waiting_;
        memset(block_.get() + used_, 0, waiting_ + kInvertedSpare);
        char* const whole = block_.release();
        void* shrunk = length < size_ ? realloc(whole, length + kInvertedSpare) : nullptr;
        return shrunk == nullptr ? whole : static_cast<char*>(shrunk);
    }

  private:
    char* waiting() const { return block_.get() + size_ - waiting_; }

    void append(const char* piece, size_t length) {
        memmove(block_.get() + used_, piece, length);
        used_ += length;
    }

    size_t size_;
    kt::HeapText block_;
    size_t used_ = 0;
    size_t waiting_ = 0;
};

// A file that has become shorter ends the text as a NUL byte does: both drop what was taken behind them.
void takeTail(LineInverter& inverter, InputFile& file, size_t size) {
    char block[kBlockSize];
    const int64_t start = file.size() - static_cast<int64_t>(size);
    while (size > 0) {
        const size_t wanted = std::min(size, sizeof block);
        size -= wanted;
        file.seek(start + static_cast<int64_t>(size));
        const size_t length = strnlen(block, file.read(block, wanted));
        if (length < wanted) {
            inverter.restart();
        }
        inverter.take(block, length);
    }
}

}  // namespace

int fileExists(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    const kt::HeapText path(formatVAString(format, ap));
    va_end(ap);
    int64_t size = 0;
    return path != nullptr && kt::findFile(path.get(), size) ? 1 : 0;
}

int fileGetSize(const char* path) {
    int64_t size = 0;
    const bool isFound = path != nullptr && kt::findFile(path, size);
    return isFound ? static_cast<int>(std::min(size, int64_t{INT_MAX})) : 0;
}

char* fileGetContents(const char* path, int* size) {
    return wholeFile(path, size);
}

char* fileGetContentsEx(int* size, const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    const kt::HeapText path(formatVAString(format, ap));
    va_end(ap);
    return wholeFile(path.get(), size);
}

int fileGetByteContents(void* buffer, size_t capacity, const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    const kt::HeapText path(formatVAString(format, ap));
    va_end(ap);
    return firstBytes(path.get(), buffer, capacity);
}

int filePutContents(const char* path, const char* format, ...) {
    if (path == nullptr || format == nullptr) {
        return kRefused;
    }
    va_list ap;
    va_start(ap, format);
    const kt::HeapText text(formatVAString(format, ap));
    va_end(ap);
    return text == nullptr ? 0 : filePutContentsBin(path, text.get(), strlen(text.get()));
}

int filePutContentsBin(const char* path, const void* data, size_t size) {
    if (path == nullptr || data == nullptr) {
        return kRefused;
    }
    makeDirectoryOf(path);
    OutputFile file(path);
    if (!file) {
        return kNotOpened;
    }
    return file.replaceContents(data, size) && size > 0 ? 1 : 0;
}

int modifyTextFile(const char* path, const char* needle, const char* text, unsigned mode, int direction,
                   int lines) {
    if (path == nullptr || text == nullptr) {
        return kRefused;
    }
    if (needle == nullptr && (mode == MODIFY_INSERT || mode == MODIFY_REPLACE)) {
        return kNoNeedle;
    }
    __debug(__LINE__, "Looking for [%s] in [%s] modifying with [%s]\n", needle == nullptr ? "(null)" : needle,
            path, text);
    const kt::HeapText content = textToEdit(path, strlen(text) + kEditSpare);
    if (content == nullptr) {
        return reportNotOpened(path);
    }
    char* match = needle == nullptr ? nullptr : strstr(content.get(), needle);
    if (match == nullptr && needle != nullptr) {
        logError(kt::component::kCommon, "Couldn't find [%s] in %s", needle, path);
        __debug(__LINE__, "Couldn't find [%s] in %s\n", needle, path);
        return kRefused;
    }
    if (!edit(match, text, mode, direction, lines)) {
        return kRefused;
    }
    OutputFile file(path);
    if (!file) {
        return reportNotOpened(path);
    }
    file.replaceContents(content.get(), strlen(content.get()));
    systemEx("/bin/sync > /dev/null");
    return 0;
}

int invertStringBuffer(const char* text, char** result) {
    if (text == nullptr || result == nullptr) {
        return kRefused;
    }
    const size_t length = strlen(text);
    LineInverter inverter(length);
    if (!inverter) {
        return kRefused;
    }
    inverter.take(text, length);
    *result = inverter.finish();
    return 0;
}

int invertFile(const char* path, unsigned maxBytes, char** result) {
    if (path == nullptr) {
        return kRefused;
    }
    InputFile file(path);
    if (!isFile(file)) {
        return kNotOpened;
    }
    const int64_t size = std::min(file.size(), int64_t{maxBytes});
    if (result == nullptr || size > PTRDIFF_MAX - int64_t{kInvertedSpare}) {
        return kRefused;
    }
    LineInverter inverter(static_cast<size_t>(size));
    if (!inverter) {
        return kRefused;
    }
    takeTail(inverter, file, static_cast<size_t>(size));
    *result = inverter.finish();
    return 0;
}
