/* Network library: the gateway's Ethernet ports, as the kernel shows them under /sys/class/net. */
#ifndef KT_SIBLINGS_NETWORK_H
#define KT_SIBLINGS_NETWORK_H

#include <stdint.h>

#include "siblings_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* State of one interface. The third 32-bit word is the link flag on every target. */
typedef struct NetworkInfo {
    uint32_t index; /* the kernel's number of the interface, from 1; 0 when not known */
    uint32_t flags; /* IFF_ bits of the interface */
    uint32_t link;  /* 1 while the interface is up and its port has a link, else 0 */
} NetworkInfo;

/*
 * Names the interface of an Ethernet port.
 *   port    1 ("eth0") or 2 ("eth1").
 *   name    receives the name; an empty text on failure. May be null.
 *   size    bytes at name, terminator included.
 * Result:
 *   0     named.
 *   -1    no such port, or the name does not fit.
 * Thread safe. Does not block; safe in a signal handler.
 */
KT_SIBLINGS_API int getVlanInterfaceName(int port, char* name, int size);

/*
 * Reads the state of an interface.
 *   record    receives the state; all zero on failure. Not null.
 *   name      name of the interface; may be null.
 * Result:
 *   0     read.
 *   -1    no such interface.
 * What the record holds is released with clearNWI.
 * Thread safe. Reads files; not a cancellation point; not for signal handlers.
 */
KT_SIBLINGS_API int networkGetInfo(NetworkInfo* record, const char* name);

/*
 * Releases what a record holds and sets it to zero; the record itself stays the caller's.
 *   record    filled by networkGetInfo or zero; may be null.
 * Thread safe for different records. Does not block; safe in a signal handler.
 */
KT_SIBLINGS_API void clearNWI(NetworkInfo* record);

#ifdef __cplusplus
}
#endif

#endif
