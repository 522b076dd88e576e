// The components of the gateway, one for each daemon and some services: the ids by which they log, send and
// are reached, and their names in log and trace lines.
//
// Nothing here blocks, allocates or is a cancellation point. Every function may run in any thread; two that
// ask for unknown ids at the same time need their own lock. With a known id safe in signal handlers.
#ifndef KT_FRAME_COMPONENT_REGISTRY_H
#define KT_FRAME_COMPONENT_REGISTRY_H

#include <stdint.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// A row of componentInfo.
typedef struct ComponentInfo {
    int32_t id;             // from 300 upward; 0 only in the final row
    const char* name;       // the daemon's name in lower case, or a service's
    const char* shortName;  // tag of four characters: upper case, a shorter word with a trailing blank
} ComponentInfo;

// 68 components in no order of ids, and the final row {0, "???", "????"}. Weak: a program may define its own,
// which ends with a row of id 0.
extern KT_API const ComponentInfo componentInfo[];

// Returns the row with that id; the final row when there is none. Never null.
KT_API const ComponentInfo* getComponentInfoPtr(int id);

// Return the name and the tag of that component. For an unknown id, 0 among them, it is a text in a buffer of
// the function's own, "(??? %d)" and "%04d" with the id, which the next unknown id overwrites: use it at
// once.
KT_API const char* getComponentName(int id);
KT_API const char* getComponentShortName(int id);

#ifdef __cplusplus
}
#endif

#endif
