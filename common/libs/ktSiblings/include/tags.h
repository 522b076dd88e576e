/*
 * Tag library: the current values of the gateway's tags.
 *
 * Tags come from the text file /usr/local/data/tags.txt, read anew by every call: one "ID NAME VALUE" per
 * line, ID in decimal, NAME without blanks, VALUE the rest of the line without the blanks around it. The
 * first line of a tag counts; lines that begin with "#" are comments.
 */
#ifndef KT_SIBLINGS_TAGS_H
#define KT_SIBLINGS_TAGS_H

#include "siblings_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Reads a tag by its name.
 *   a, b      connections to a tag server; null, and not used here.
 *   name      name of the tag, compared with its case; may be null.
 *   option    0; not used here.
 * Result: the value as a new text, released by the caller with free; null when the tag is unknown or memory
 * is short.
 * Thread safe. Reads a file; not a cancellation point; not for signal handlers.
 */
KT_SIBLINGS_API KT_SIBLINGS_MALLOC char* getTagValueByName(void* a, void* b, const char* name, int option);

/*
 * Reads a tag by its numeric id.
 *   a, b      connections to a tag server; null, and not used here.
 *   id        id of the tag.
 *   option    0; not used here.
 * Result: the value as a new text, released by the caller with free; null when the tag is unknown or memory
 * is short.
 * Thread safe. Reads a file; not a cancellation point; not for signal handlers.
 */
KT_SIBLINGS_API KT_SIBLINGS_MALLOC char* getTagValueByID(void* a, int id, void* b, int option);

#ifdef __cplusplus
}
#endif

#endif
