// Debug lines, which begin with a time and ids, and other texts of the library.
#ifndef KT_TESTS_SUPPORT_DEBUG_LINES_H
#define KT_TESTS_SUPPORT_DEBUG_LINES_H

#include <ktcommon.h>

#include <utility>

#include "support/stdout_capture.h"

namespace kt::test {

// Debug lines without the stamps and ids at their heads.
inline std::string withoutHeads(std::string printed) {
    for (size_t at = 0; (at = printed.find("): ", at)) != std::string::npos; at = printed.find('\n', at)) {
        const size_t line = printed.rfind('\n', at) + 1;  // 0 where there is none
        printed.erase(line, at + 3 - line);
        at = line;
    }
    return printed;
}

// In place of a long text that is always the same.
inline unsigned checksumOf(const std::string& text) {
    return CRC32_x(0, reinterpret_cast<const unsigned char*>(text.data()),
                   static_cast<unsigned>(text.size()));
}

// What the body prints with the debug mode on.
template <typename Body>
std::string debugLinesOf(Body body) {
    const unsigned mode = std::exchange(gDebugMode, DEBUG_GENERAL);
    std::string printed = withoutHeads(allPrintedBy(body));
    gDebugMode = mode;
    return printed;
}

}  // namespace kt::test

#endif
