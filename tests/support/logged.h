// The error log of a test program: entries "CODE TEXT\n" in place of the sibling's file.
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

// Not inline: nothing in the program calls it. NOLINTNEXTLINE(misc-definitions-in-headers)
void logError(int code, const char* fmt, ...) {
    char text[512];
    const int head = snprintf(text, sizeof text, "%d ", code);
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(text + head, sizeof text - 20, fmt, ap);
    va_end(ap);
    logged.append(text).append("\n");
}

#endif
