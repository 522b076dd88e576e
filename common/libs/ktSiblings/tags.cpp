#include "tags.h"

#include "layout.h"

using kt::siblings::kTags;
using kt::siblings::lookUp;

namespace {

constexpr int kIdColumn = 0;
constexpr int kNameColumn = 1;

}  // namespace

char* getTagValueByName(void*, void*, const char* name, int) {
    return lookUp(kTags, kNameColumn, name).release();
}

char* getTagValueByID(void*, int id, void*, int) {
    return lookUp(kTags, kIdColumn, id).release();
}
