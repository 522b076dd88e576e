// What the build system knows of this build.
#ifndef KT_INTERNAL_BUILD_STAMPS_H
#define KT_INTERNAL_BUILD_STAMPS_H

#include "internal/private.h"

namespace kt {

extern const char kBuildVersion[];  // three decimal numbers joined by dots
extern const char kBuildUser[];
extern const char kBuildMachine[];  // as uname -a prints it
extern const char kBuildTime[];     // as date prints it, in UTC

}  // namespace kt

#endif
