// Whole files of the unit. A program that includes this does not run anywhere else.
#ifndef KT_TESTS_SUPPORT_FILES_H
#define KT_TESTS_SUPPORT_FILES_H

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace kt::test {

inline std::string journalOfUnit() {
    const char* path = getenv("KT_UNIT_JOURNAL");
    return path != nullptr ? path
                           : (fputs("only in a virtual unit: unit/ktunit -- PROGRAM\n", stderr), exit(2), "");
}
inline const std::string kJournal = journalOfUnit();

inline std::string contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void setContents(const std::string& path, const std::string& contents) {
    std::ofstream(path, std::ios::binary) << contents;
}

// What the board's tools were asked since the last call, a line each.
inline std::string takeJournal() {
    std::string lines = contentsOf(kJournal);
    setContents(kJournal, "");
    return lines;
}

}  // namespace kt::test

#endif
