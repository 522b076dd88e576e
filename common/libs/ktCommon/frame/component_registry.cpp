#include "frame/component_registry.h"

#include <cstddef>
#include <cstdio>

static_assert(offsetof(ComponentInfo, id) == 0);
static_assert(offsetof(ComponentInfo, name) == sizeof(void*));
static_assert(offsetof(ComponentInfo, shortName) == 2 * sizeof(void*));
static_assert(sizeof(ComponentInfo) == 3 * sizeof(void*));

namespace {

constexpr size_t kFallbackSize = 20;

}  // namespace

const ComponentInfo* getComponentInfoPtr(int id) {
    const ComponentInfo* row = componentInfo;
    while (row->id != id && row->id != 0) {
        ++row;
    }
    return row;
}

const char* getComponentName(int id) {
    static char unknown[kFallbackSize];
    const ComponentInfo* row = getComponentInfoPtr(id);
    if (row->id != 0) {
        return row->name;
    }
    snprintf(unknown, sizeof unknown, "(??? %d)", id);
    return unknown;
}

const char* getComponentShortName(int id) {
    static char unknown[kFallbackSize];
    const ComponentInfo* row = getComponentInfoPtr(id);
    if (row->id != 0) {
        return row->shortName;
    }
    snprintf(unknown, sizeof unknown, "%04d", id);
    return unknown;
}
