// The error and the engineering log of a test program: entries "CODE TEXT\n" in place of the sibling's files.
#ifndef KT_TESTS_SUPPORT_LOGGED_H
#define KT_TESTS_SUPPORT_LOGGED_H

#include <logging.h>

#include <cstdarg>
#include <cstdio>
#include <string>

// With room to begin with, for entries about short memory.
static std::string logged = [] {
    std::string room;
    room.reserve(4096);
    return room;
}();

__attribute__((format(printf, 2, 0))) static void addToLog(int code, const char* fmt, va_list ap) {
    char text[512];
    const int head = snprintf(text, sizeof text, "%d ", code);
    vsnprintf(text + head, sizeof text - 20, fmt, ap);
    va_end(ap);
    logged.append(text).append("\n");
}

// Not inline: nothing in the program calls them. NOLINTBEGIN(misc-definitions-in-headers)
void logError(int code, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    addToLog(code, fmt, ap);
}

void logEngMessage(int code, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    addToLog(code, fmt, ap);
}
// NOLINTEND(misc-definitions-in-headers)

#endif
