#include "text/parsed_list.h"

#include <strings.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal/stdout_lock.h"
#include "text/bounded.h"
#include "text/convert.h"
#include "text/growable.h"

static_assert(offsetof(ParsedNode, tag) == 0);
static_assert(offsetof(ParsedNode, value) == sizeof(void*));
static_assert(offsetof(ParsedNode, next) == 2 * sizeof(void*));
static_assert(sizeof(ParsedNode) == 3 * sizeof(void*));

namespace {

constexpr size_t kDecimalSize = sizeof "-2147483648";

// strchr would find a NUL at the text's end, and the search go on behind it.
const char* find(const char* text, char separator) {
    return text == nullptr || separator == '\0' ? nullptr : strchr(text, separator);
}

void freeNode(ParsedNode* node) {
    free(node->tag);
    free(node->value);
    free(node);
}

ParsedNode* newNode(const char* tag, size_t tagLength, const char* value, size_t valueLength) {
    ParsedNode* node = static_cast<ParsedNode*>(malloc(sizeof(ParsedNode)));
    if (node == nullptr) {
        return nullptr;
    }
    *node = {strndup(tag, tagLength), strndup(value, valueLength), nullptr};
    if (node->tag == nullptr || node->value == nullptr) {
        freeNode(node);
        return nullptr;
    }
    trim(node->tag);
    if (valueLength >= 2) {
        trim(node->value);
    }
    return node;
}

const char* textOf(const char* s) {
    return s == nullptr ? "" : s;
}

char* putPair(char* end, const ParsedNode& node, char pairSep, char itemDelim) {
    end = stpcpy(end, textOf(node.tag));
    if (pairSep == '\0') {
        return end;
    }
    *end++ = pairSep;
    end = stpcpy(end, textOf(node.value));
    if (itemDelim != '\0') {
        *end++ = itemDelim;
    }
    return end;
}

ParsedNode* findNode(ParsedNode* list, char* ParsedNode::*part, const char* text) {
    for (ParsedNode* node = list; node != nullptr && text != nullptr; node = node->next) {
        if (node->*part != nullptr && strcasecmp(node->*part, text) == 0) {
            return node;
        }
    }
    return nullptr;
}

// The copy comes first: the new text may point into the old one.
ParsedNode* replacePart(ParsedNode* node, char* ParsedNode::*part, const char* text) {
    char* copy = node == nullptr ? nullptr : strdup_s(text);
    if (copy == nullptr) {
        return nullptr;
    }
    free(node->*part);
    node->*part = copy;
    return node;
}

}  // namespace

ParsedNode* parseDelimtedString(const char* text, int pairSep, int itemDelim) {
    ParsedNode* list = nullptr;
    ParsedNode** tail = &list;
    const char* tag = text;
    while (const char* separator = find(tag, static_cast<char>(pairSep))) {
        const char* value = separator + 1;
        const char* delimiter = find(value, static_cast<char>(itemDelim));
        const size_t length = delimiter == nullptr ? strlen(value) : static_cast<size_t>(delimiter - value);
        *tail = newNode(tag, static_cast<size_t>(separator - tag), value, length);
        if (*tail == nullptr) {
            deleteParsedString(list);
            return nullptr;
        }
        tail = &(*tail)->next;
        tag = delimiter == nullptr ? nullptr : delimiter + 1;
    }
    return list;
}

char* buildParsedString(ParsedNode* list, int pairSep, int itemDelim) {
    size_t size = 1;
    for (const ParsedNode* node = list; node != nullptr; node = node->next) {
        size += strlen(textOf(node->tag)) + strlen(textOf(node->value)) + 2;
    }
    char* text = list == nullptr ? nullptr : static_cast<char*>(malloc(size));
    if (text == nullptr) {
        return nullptr;
    }
    char* end = text;
    for (const ParsedNode* node = list; node != nullptr; node = node->next) {
        end = putPair(end, *node, static_cast<char>(pairSep), static_cast<char>(itemDelim));
    }
    *(end == text ? end : end - 1) = '\0';
    return text;
}

ParsedNode* getParsedPtr(ParsedNode* list, const char* tag) {
    return findNode(list, &ParsedNode::tag, tag);
}

ParsedNode* getParsedPtrByValue(ParsedNode* list, const char* value) {
    return findNode(list, &ParsedNode::value, value);
}

char* getParsedValue(ParsedNode* list, const char* tag) {
    const ParsedNode* node = getParsedPtr(list, tag);
    return node == nullptr ? nullptr : node->value;
}

char* getParsedTag(ParsedNode* list, const char* value) {
    const ParsedNode* node = getParsedPtrByValue(list, value);
    return node == nullptr ? nullptr : node->tag;
}

int getParsedValueInt(ParsedNode* list, const char* tag) {
    return atoi_s(getParsedValue(list, tag), 0);
}

ParsedNode* setParsedValue(ParsedNode* list, const char* tag, const char* value) {
    return replacePart(getParsedPtr(list, tag), &ParsedNode::value, value);
}

ParsedNode* setParsedValueInt(ParsedNode* list, const char* tag, int value) {
    char text[kDecimalSize];
    snprintf(text, sizeof text, "%d", value);
    return setParsedValue(list, tag, text);
}

ParsedNode* renameParsedTag(ParsedNode* list, const char* oldTag, const char* newTag) {
    return newTag == nullptr ? nullptr : replacePart(getParsedPtr(list, oldTag), &ParsedNode::tag, newTag);
}

int getParsedNodeCount(ParsedNode* list) {
    int count = 0;
    for (const ParsedNode* node = list; node != nullptr; node = node->next) {
        ++count;
    }
    return count;
}

int showParsedString(ParsedNode* list) {
    const kt::StdoutLock lock;
    printf("Parsed params string @ %p\n", static_cast<void*>(list));
    for (const ParsedNode* node = list; node != nullptr; node = node->next) {
        printf("  %s = %s\n", textOf(node->tag), textOf(node->value));
    }
    fflush(stdout);
    return 0;
}

void deleteParsedString(ParsedNode* list) {
    while (list != nullptr) {
        ParsedNode* next = list->next;
        freeNode(list);
        list = next;
    }
}
