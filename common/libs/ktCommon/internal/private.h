// Included first by every header of internal/ that is not for users: it fails their build.
#ifndef KT_INTERNAL_PRIVATE_H
#define KT_INTERNAL_PRIVATE_H

#ifndef KT_BUILDING_LIBRARY
#error "this header is private to libktCommon"
#endif

#endif
