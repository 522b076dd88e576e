/* Messaging library: messages between daemons. */
#ifndef KT_SIBLINGS_MESSAGING_H
#define KT_SIBLINGS_MESSAGING_H

#include "siblings_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Hands over the messages that this process still has queued, before it exits. This library keeps no queue.
 * Result: the number of messages that stay undelivered, 0.
 * Thread safe. Does not block; safe in a signal handler.
 */
KT_SIBLINGS_API int _msgDrain(void);

#ifdef __cplusplus
}
#endif

#endif
