// Private to the siblings: where their data lies, and the look-up in its "key value" text files.
#pragma once

#include <cstdlib>
#include <memory>

namespace kt::siblings {

struct Free {
    void operator()(char* text) const { std::free(text); }
};
using HeapText = std::unique_ptr<char, Free>;

// A text file of lines with some words of key and, behind them, a value up to the end of the line. Lines that
// begin with '#' are comments.
struct LineTable {
    const char* path;
    int keyColumns;
};

inline constexpr LineTable kPorts{"/usr/local/data/ports.txt", 1};
inline constexpr LineTable kConfigRows{"/usr/local/data/config_rows.txt", 1};
inline constexpr LineTable kSerialValues{"/usr/local/data/serial.txt", 1};
inline constexpr LineTable kTags{"/usr/local/data/tags.txt", 2};
inline constexpr const char* kInterfaces = "/sys/class/net";

// The value of the given occurrence, from 0, among the lines whose word in keyColumn is key. Null when there
// is none, when key is null or empty, without the file, and when memory is short.
HeapText lookUp(const LineTable& table, int keyColumn, const char* key, int occurrence = 0);
HeapText lookUp(const LineTable& table, int keyColumn, int key);

}  // namespace kt::siblings
