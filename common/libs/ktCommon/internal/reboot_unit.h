// The library's own reboot, for its other modules: the exported name may be another library's in a program,
// such as the C library's system call.
#ifndef KT_INTERNAL_REBOOT_UNIT_H
#define KT_INTERNAL_REBOOT_UNIT_H

#include "internal/private.h"

namespace kt {

// As reboot of frame/reset.h.
int rebootUnit();

}  // namespace kt

#endif
