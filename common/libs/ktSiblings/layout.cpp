#include "layout.h"

#include <cstdio>
#include <cstring>

#include "guards.h"

namespace kt::siblings {
namespace {

constexpr const char* kBlanks = " \t";

struct CloseFile {
    void operator()(FILE* file) const { fclose(file); }
};

struct LineBuffer {
    char* text = nullptr;
    size_t capacity = 0;

    LineBuffer() = default;
    LineBuffer(const LineBuffer&) = delete;
    LineBuffer& operator=(const LineBuffer&) = delete;
    ~LineBuffer() { std::free(text); }
};

void trimEnd(char* line) {
    size_t length = strlen(line);
    while (length > 0 && strchr(" \t\r\n", line[length - 1])) {
        --length;
    }
    line[length] = '\0';
}

const char* takeWord(char*& rest) {
    char* word = rest + strspn(rest, kBlanks);
    char* end = word + strcspn(word, kBlanks);
    rest = end + strspn(end, kBlanks);
    *end = '\0';
    return word;
}

// Cuts up the line; null when it is a comment or has another key.
const char* valueFor(const char* key, int keyColumn, const LineTable& table, char* line) {
    trimEnd(line);
    if (line[strspn(line, kBlanks)] == '#') {
        return nullptr;
    }
    bool matches = false;
    char* rest = line;
    for (int column = 0; column < table.keyColumns; ++column) {
        const char* word = takeWord(rest);
        matches = matches || (column == keyColumn && strcmp(word, key) == 0);
    }
    return matches ? rest : nullptr;
}

}  // namespace

HeapText lookUp(const LineTable& table, int keyColumn, const char* key, int occurrence) {
    if (!key || *key == '\0' || occurrence < 0) {
        return nullptr;
    }
    const CallGuard guard;
    const std::unique_ptr<FILE, CloseFile> file(fopen(table.path, "re"));
    if (!file) {
        return nullptr;
    }
    LineBuffer line;
    while (getline(&line.text, &line.capacity, file.get()) >= 0) {
        const char* value = valueFor(key, keyColumn, table, line.text);
        if (value && occurrence-- == 0) {
            return HeapText(strdup(value));
        }
    }
    return nullptr;
}

HeapText lookUp(const LineTable& table, int keyColumn, int key) {
    char digits[16];
    snprintf(digits, sizeof digits, "%d", key);
    return lookUp(table, keyColumn, digits);
}

}  // namespace kt::siblings
