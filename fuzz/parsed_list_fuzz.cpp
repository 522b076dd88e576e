// A list that was built and parsed again is the same list.
#include "target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2 || data[0] == 0 || data[1] == 0) { return 0; }
    ParsedNode* const list = parseDelimtedString(textOf(data, size, 2).data(), data[0], data[1]);
    char* const text = buildParsedString(list, data[0], data[1]);
    ParsedNode* const again = parseDelimtedString(text, data[0], data[1]);
    const ParsedNode* other = again;
    for (const ParsedNode* node = list; node != nullptr; node = node->next, other = other->next) {
        require(other != nullptr && strcmp(node->tag, other->tag) == 0 &&
                strcmp(node->value, other->value) == 0);
    }
    require(other == nullptr);
    free(text);
    deleteParsedString(list);
    deleteParsedString(again);
    return 0;
}
