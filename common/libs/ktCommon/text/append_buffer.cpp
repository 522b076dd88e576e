#include "text/append_buffer.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

// The board's record is five 32-bit numbers around one 32-bit pointer; hosts align the pointer naturally.
static_assert(offsetof(AppendBufControl, increment) == 4);
static_assert(offsetof(AppendBufControl, buffer) == 8);
static_assert(offsetof(AppendBufControl, used) == 8 + sizeof(char*));
static_assert(offsetof(AppendBufControl, size) == 12 + sizeof(char*));
static_assert(offsetof(AppendBufControl, space) == 16 + sizeof(char*));
static_assert(sizeof(void*) != 4 || sizeof(AppendBufControl) == 24);

namespace {

constexpr int kNoMemory = -2;

// False leaves the record as it was.
bool growBy(AppendBufControl* c, int64_t steps) {
    const int64_t size = c->size + steps * c->increment;
    if (c->increment <= 0 || size > INT32_MAX) {
        return false;
    }
    char* grown = static_cast<char*>(realloc(c->buffer, static_cast<size_t>(size)));
    if (grown == nullptr) {
        return false;
    }
    if (c->buffer == nullptr) {
        *grown = '\0';
    }
    c->space += static_cast<int32_t>(size) - c->size;
    c->size = static_cast<int32_t>(size);
    c->buffer = grown;
    return true;
}

// The fewest increments that make room for a text of that length and its terminator.
int64_t stepsFor(const AppendBufControl* c, int length) {
    const int64_t missing = int64_t{length} + 1 - c->space;
    return (missing + c->increment - 1) / c->increment;
}

int formatAtEnd(AppendBufControl* c, const char* fmt, va_list ap) {
    return vsnprintf(c->buffer + c->used, static_cast<size_t>(c->space), fmt, ap);
}

int appendFormatted(AppendBufControl* c, const char* fmt, va_list ap) {
    va_list again;
    va_copy(again, ap);
    int length = formatAtEnd(c, fmt, ap);
    if (length >= c->space) {
        const bool grown = c->increment > 0 && growBy(c, stepsFor(c, length));
        length = grown ? formatAtEnd(c, fmt, again) : kNoMemory;
    }
    va_end(again);
    if (length > 0) {
        c->used += length;
        c->space -= length;
    }
    c->buffer[c->used] = '\0';  // a failed attempt may have left a piece of its text
    return length;
}

}  // namespace

void InitAppendBufControl(AppendBufControl* c, int increment, int threshold) {
    *c = AppendBufControl{threshold, increment, nullptr, 0, 0, 0};
}

int AppendBuf(AppendBufControl* c, const char* fmt, ...) {
    const bool full = c->buffer == nullptr || c->space <= c->threshold;
    if (full && !growBy(c, 1)) {
        return kNoMemory;
    }
    va_list ap;
    va_start(ap, fmt);
    const int length = appendFormatted(c, fmt, ap);
    va_end(ap);
    return length;
}
