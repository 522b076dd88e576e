/* Random number library: for back-off times and the like, never for keys. */
#ifndef KT_SIBLINGS_RANDOM_H
#define KT_SIBLINGS_RANDOM_H

#include "siblings_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Draws a uniformly spread whole number. Every thread has its own sequence, and a forked child starts a new
 * one.
 *   low, high    the bounds, both of which can occur, in either order.
 * Result: the number.
 * Thread safe. Does not block and is not a cancellation point; not for signal handlers.
 */
KT_SIBLINGS_API KT_SIBLINGS_MUST_USE int getRandomInt(int low, int high);

#ifdef __cplusplus
}
#endif

#endif
