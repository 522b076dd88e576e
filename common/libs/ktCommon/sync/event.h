// Named mutexes, and events: manual-reset flags on which any number of threads can wait.
//
// The records live in the caller's memory; the library allocates nothing. Once initialised they may be used
// from any thread. Initialise and destroy a record while no other thread uses it: a setEvent that has
// released a waiter still uses the event until it returns.
//
// Functions that return int return 0 or a positive error number of the C library, never -1: 22 (EINVAL) for a
// null record (nothing changes), and what is listed. None keeps a lock when it returns, or when its thread is
// cancelled. Only the waits block; they are cancellation points. With DEBUG_GENERAL set a debug line, which
// is one too, and a report, which is none, block as long as their readers do. Nothing here is for signal
// handlers.
#ifndef KT_SYNC_EVENT_H
#define KT_SYNC_EVENT_H

#include <pthread.h>
#include <stdint.h>
#include <time.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

#define KT_MUTEX_NAME_SIZE 64  // bytes

// Locked and unlocked with pthread_mutex_lock and pthread_mutex_unlock, on `mutex` or on the record's own
// address.
typedef struct MUTEX {
    pthread_mutex_t mutex;
    char name[KT_MUTEX_NAME_SIZE];  // padded with NULs; 64 characters end at the zero word behind them
    uint32_t reserved1;             // both 0; they keep the record's size
    uint32_t reserved2;
} MUTEX;

// Values of an event's state. Any other is invalid, such as 0 in a record that is not initialised or was
// destroyed.
enum { EVENT_SET = 2, EVENT_RESET = 3 };

// The clocks that can end a wait: bits of a clock mask, and the selector of a wait, which is exactly one of
// them.
enum { EVENT_CLOCK_REALTIME = 0x10, EVENT_CLOCK_MONOTONIC = 0x20 };

// A manual-reset event. The record belongs to the caller, and is filled and changed by the functions below
// alone.
typedef struct EVENT {
    MUTEX mutex;                   // guards state; carries the event's name
    uint32_t state;                // EVENT_SET or EVENT_RESET
    uint32_t clocks;               // the conditions below that exist; fixed by the initialisation
    pthread_cond_t condRealtime;   // timed by CLOCK_REALTIME
    pthread_cond_t condMonotonic;  // timed by CLOCK_MONOTONIC
} EVENT;

// The lock of the thread-unique data list, "THREAD_DATA", which exists from the library's start to its
// tear-down.
extern KT_API MUTEX gThreadDataLock;

// Shared by the daemons; the library does not touch them. A daemon that uses one initialises it first.
extern KT_API EVENT g_tracerTerminateEvent;
extern KT_API EVENT g_displayServiceEvent;
extern KT_API EVENT g_nem2LEDServiceEvent;
extern KT_API EVENT g_displayWakeEvent;
extern KT_API EVENT g_ResetButtonBypassEvent;

// Clears the record, names it and creates the lock. attr: null for a default mutex. name: up to 64 characters
// are kept; may be empty.
// Returns 0
//     22     m or name is null; nothing is touched
//     other  of pthread_mutex_init
KT_API int initMutex(MUTEX* m, const pthread_mutexattr_t* attr, const char* name);

// Destroys the lock; the record keeps its contents.
// Returns 0, 22, or another result of pthread_mutex_destroy (16, EBUSY: it is locked).
KT_API int destroyMutex(MUTEX* m);

// Clears the record and makes it an event in EVENT_RESET. clockMask: EVENT_CLOCK_REALTIME,
// EVENT_CLOCK_MONOTONIC or both; initEvent has the real-time clock only. name: as for initMutex.
// Returns 0
//     22     ev or name is null, or clockMask has neither bit. Unless ev is null the record is cleared, and
//            EVENT_RESET; with a name its lock exists and is left to destroyEvent
//     other  of creating the lock or a condition; `clocks` tells the conditions that exist
KT_API int initEventWithClocks(unsigned clockMask, EVENT* ev, const char* name);
KT_API int initEvent(EVENT* ev, const char* name);

// Creates the conditions of clockMask that the event does not have yet. A failure is reported with a
// backtrace while DEBUG_GENERAL is set.
// Returns 0
//     22     ev is null, or clockMask has neither bit
//     other  of creating a condition: the monotonic one's result when it is asked for, else the real-time
//            one's
KT_API int _registerClockswithEvent(unsigned clockMask, EVENT* ev);

// Initialises *cond for timed waits on CLOCK_MONOTONIC when clock is EVENT_CLOCK_MONOTONIC, on CLOCK_REALTIME
// otherwise.
// Returns 0, 22 (cond is null), or another result of pthread_condattr_init or pthread_cond_init.
KT_API int _registerConditionWithClock(int clock, pthread_cond_t* cond);

// Destroys the event's conditions and its lock and clears the record, which can then be initialised again.
// Returns what destroying the lock returned; the record is cleared in any case.
KT_API int destroyEvent(EVENT* ev);

// setEvent releases every present waiter, and later ones until resetEvent. Both may be repeated. An event is
// not for pulsing: a waiter that is woken and finds the event reset again waits on.
// Return 0 or 22.
KT_API int setEvent(EVENT* ev);
KT_API int resetEvent(EVENT* ev);

// Returns 1 when the event is set; 0 when it is not, or ev is null.
KT_API int isEventSet(EVENT* ev);

// Waits until the event is set; event_wait with EVENT_CLOCK_REALTIME. A wait does not change the event.
// Returns 0, at once for an event that is set; also when a wake-up finds an invalid state, after the line
// below
//     22     the state is invalid: debug line "eventCond_wait() unknown event state: %d\n"; the event lacks
//            the clock; or conditionClock has one of the event's bits and more: "eventCond_wait() unknown
//            conditionClock: %d\n"
//     other  of pthread_cond_wait
KT_API int eventCond_wait(EVENT* ev, int conditionClock);
KT_API int event_wait(EVENT* ev);

// Waits until the event is set or its clock reaches abstime, a point in time on the selected clock
// (GetMsDelay makes them); event_timedwait with EVENT_CLOCK_REALTIME. abstime null: asks without waiting.
// Returns 0, at once for an event that is set; also when a wake-up finds an invalid state
//     110    (ETIMEDOUT) abstime has passed; or it is null and the state is EVENT_RESET, whatever the clock
//     22     as for eventCond_wait, with "eventCond_timedwait()" in the lines; or abstime's nanoseconds are
//            out of range
//     other  of pthread_cond_timedwait
KT_API int eventCond_timedwait(EVENT* ev, int conditionClock, const struct timespec* abstime);
KT_API int event_timedwait(EVENT* ev, const struct timespec* abstime);

#ifdef __cplusplus
}
#endif

#endif
