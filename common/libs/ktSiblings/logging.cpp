#include "logging.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "guards.h"

using kt::siblings::CallGuard;
using kt::siblings::Descriptor;

namespace {

constexpr size_t kMaxText = 4000;
constexpr size_t kMaxStampAndCode = 64;

// One write per entry keeps entries whole: O_APPEND makes each write atomic. Only the rest of a short write
// goes on in another. Relative to the directory, so that no path has to be built inside a signal handler.
void append(const char* name, const char* bytes, size_t length) {
    const Descriptor directory(open(LOG_PATH, O_PATH | O_DIRECTORY | O_CLOEXEC));
    const Descriptor file(openat(directory.get(), name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
    while (length > 0) {
        const ssize_t written = write(file.get(), bytes, length);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        bytes += written;
        length -= static_cast<size_t>(written);
    }
}

size_t writeStampAndCode(char* entry, int code) {
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    char stamp[32];
    strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
    return static_cast<size_t>(snprintf(entry, kMaxStampAndCode, "%s %d ", stamp, code));
}

// Ends the text with a line feed and leaves no other line break in it.
size_t finishLine(char* text) {
    size_t length = strlen(text);
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r')) {
        --length;
    }
    std::replace(text, text + length, '\n', ' ');
    std::replace(text, text + length, '\r', ' ');
    text[length] = '\n';
    return length + 1;
}

// The entry stands on the stack: a log has to work when memory is short.
void record(const char* name, int code, const char* format, va_list arguments) {
    if (!format) {
        return;
    }
    const CallGuard guard;
    char entry[kMaxStampAndCode + kMaxText + 1];
    const size_t start = writeStampAndCode(entry, code);
    char* text = entry + start;
    text[0] = '\0';
    vsnprintf(text, kMaxText + 1, format, arguments);
    append(name, entry, start + finishLine(text));
}

KT_SIBLINGS_PRINTF(3, 4) void recordFormatted(const char* name, int code, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    record(name, code, format, arguments);
    va_end(arguments);
}

}  // namespace

void logError(int code, const char* fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    record("error", code, fmt, arguments);
    va_end(arguments);
}

void logEngMessage(int code, const char* fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    record("engineering", code, fmt, arguments);
    va_end(arguments);
}

void logReboot(int component, const char* text) {
    if (text) {
        recordFormatted("reboot", component, "%s", text);
    }
}

void logStackTrace(const char* text) {
    if (!text) {
        return;
    }
    const CallGuard guard;
    append("stacktrace", text, strlen(text));
}
