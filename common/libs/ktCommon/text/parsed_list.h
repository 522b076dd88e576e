// Texts of tag/value pairs, such as "gmt_offset=60;recognize_dst=1": split into a list that can be searched,
// changed and turned back into text.
//
// A list is a pointer to its first node; null is the empty list, which every function takes. The caller names
// both separators at every call, one byte each: pairSep between a tag and its value, itemDelim between two
// pairs. Tags and values compare without regard to case, tags need not be unique, and a search finds the
// first node. A search for null finds nothing.
//
// Nodes and strings come from the C allocator and belong to the list, which deleteParsedString releases.
// Pointers into it are valid until the node's string is replaced or the list deleted. Out of memory is a null
// result: nothing has changed then, and nothing is left over. No function keeps state; a list that two
// threads use needs the callers' own lock. Only showParsedString blocks or is a cancellation point; none is
// for signal handlers.
#ifndef KT_TEXT_PARSED_LIST_H
#define KT_TEXT_PARSED_LIST_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// One pair. In a list of the caller's own making a null tag or value counts as empty and is never found.
typedef struct ParsedNode {
    char* tag;
    char* value;              // never null in a list that was parsed
    struct ParsedNode* next;  // null at the end
} ParsedNode;

// Splits text (may be null) in one pass and leaves it as it is. A tag runs to the next pairSep, its value
// from there to the next itemDelim or the end, the next tag begins behind that. So a piece without pairSep
// becomes the front of the next tag and is dropped at the end, and a value may hold further pairSeps. Both
// lose blanks and control characters at their ends (as trim does), but a value of one character stays as it
// is. With equal separators tags and values alternate. NUL occurs in no text.
// Returns a new list in the order of the text; null when the text is null or holds no pairSep.
KT_API ParsedNode* parseDelimtedString(const char* text, int pairSep, int itemDelim) KT_WARN_UNUSED;

// Joins the pairs as tag, pairSep, value, itemDelim, and drops the last character, which is the final
// itemDelim. A NUL as separator ends the pair's text, as in a string of "%s%c%s%c"; the last character is
// dropped all the same. Takes time linear to the result.
// Returns a new string that the caller frees; null for an empty list.
KT_API char* buildParsedString(ParsedNode* list, int pairSep, int itemDelim) KT_MALLOC KT_WARN_UNUSED;

// Return the first node with that tag or that value; null when there is none.
KT_API ParsedNode* getParsedPtr(ParsedNode* list, const char* tag);
KT_API ParsedNode* getParsedPtrByValue(ParsedNode* list, const char* value);

// Return that node's value, its tag; null when there is none. They belong to the list.
KT_API char* getParsedValue(ParsedNode* list, const char* tag);
KT_API char* getParsedTag(ParsedNode* list, const char* value);

// Returns the value as a decimal number, read as atoi_s does; 0 when the tag is missing.
KT_API int getParsedValueInt(ParsedNode* list, const char* tag);

// Replace the value of the first node with that tag by a copy of the new one (null: an empty string), which
// may point into the list; setParsedValueInt by the number's decimal text.
// Return the node; null, with the list unchanged, when the tag is missing.
KT_API ParsedNode* setParsedValue(ParsedNode* list, const char* tag, const char* value);
KT_API ParsedNode* setParsedValueInt(ParsedNode* list, const char* tag, int value);

// Replaces the tag of the first node with the tag oldTag by a copy of newTag, which may point into the list.
// Returns the node; null, with the list unchanged, when an argument is null or the tag is missing.
KT_API ParsedNode* renameParsedTag(ParsedNode* list, const char* oldTag, const char* newTag);

// Returns the number of nodes.
KT_API int getParsedNodeCount(ParsedNode* list);

// Prints "Parsed params string @ %p\n" with the list, and "  %s = %s\n" with the tag and value of each node,
// as one block of lines on standard output, which is flushed. Blocks as long as that does, and is a
// cancellation point.
// Returns 0.
KT_API int showParsedString(ParsedNode* list);

// Frees the list with its strings, in list order.
KT_API void deleteParsedString(ParsedNode* list);

#ifdef __cplusplus
}
#endif

#endif
