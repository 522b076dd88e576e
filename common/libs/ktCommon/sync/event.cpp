#include "sync/event.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "diag/debug.h"
#include "internal/debug_assertion.h"
#include "internal/mutex_lock.h"

// Daemons embed both records, so their layout is fixed.
static_assert(offsetof(MUTEX, mutex) == 0);
static_assert(offsetof(MUTEX, name) == sizeof(pthread_mutex_t));
static_assert(offsetof(MUTEX, reserved1) == offsetof(MUTEX, name) + 64);
static_assert(offsetof(MUTEX, reserved2) == offsetof(MUTEX, reserved1) + 4);
static_assert(offsetof(EVENT, mutex) == 0);
static_assert(offsetof(EVENT, state) == sizeof(MUTEX));
static_assert(offsetof(EVENT, clocks) == offsetof(EVENT, state) + 4);
static_assert(offsetof(EVENT, condRealtime) == offsetof(EVENT, clocks) + 4);
static_assert(offsetof(EVENT, condMonotonic) == offsetof(EVENT, condRealtime) + sizeof(pthread_cond_t));
static_assert(sizeof(void*) != 4 || sizeof(MUTEX) == 96);
static_assert(sizeof(void*) != 4 || offsetof(EVENT, condRealtime) == 104);
static_assert(sizeof(void*) != 4 || offsetof(EVENT, condMonotonic) == 152);
static_assert(sizeof(void*) != 4 || sizeof(EVENT) == 200);

MUTEX gThreadDataLock;
EVENT g_tracerTerminateEvent;
EVENT g_displayServiceEvent;
EVENT g_nem2LEDServiceEvent;
EVENT g_displayWakeEvent;
EVENT g_ResetButtonBypassEvent;

namespace {

bool hasClock(unsigned clocks, unsigned clock) {
    return (clocks & clock) != 0;
}

int addCondition(EVENT& ev, unsigned clock, pthread_cond_t& condition) {
    if (hasClock(ev.clocks, clock)) {
        return 0;
    }
    const int result = _registerConditionWithClock(static_cast<int>(clock), &condition);
    if (result == 0) {
        ev.clocks |= clock;
    }
    return result;
}

int addConditions(unsigned clockMask, EVENT* ev) {
    if (ev == nullptr) {
        return EINVAL;
    }
    int result = EINVAL;
    if (hasClock(clockMask, EVENT_CLOCK_REALTIME)) {
        result = addCondition(*ev, EVENT_CLOCK_REALTIME, ev->condRealtime);
    }
    if (hasClock(clockMask, EVENT_CLOCK_MONOTONIC)) {
        result = addCondition(*ev, EVENT_CLOCK_MONOTONIC, ev->condMonotonic);
    }
    return result;
}

void store(EVENT& ev, uint32_t state) {
    const kt::MutexLock lock(ev.mutex.mutex);
    ev.state = state;
}

// What a wait ends with, and the value to complain about, which is written after the event's lock is
// released: a debug line takes standard output's lock and as long as its reader does.
struct Ending {
    int result;
    const char* unknown = nullptr;
    int value = 0;
};

Ending unknownState(const EVENT& ev, int result) {
    return {result, "event state", static_cast<int>(ev.state)};
}

// Result 0: *chosen is the condition to wait on.
Ending chooseCondition(EVENT& ev, int clock, pthread_cond_t** chosen) {
    if (!hasClock(ev.clocks, static_cast<unsigned>(clock))) {
        return {EINVAL};
    }
    switch (clock) {
        case EVENT_CLOCK_REALTIME:
            *chosen = &ev.condRealtime;
            return {0};
        case EVENT_CLOCK_MONOTONIC:
            *chosen = &ev.condMonotonic;
            return {0};
        default:
            return {EINVAL, "conditionClock", clock};
    }
}

// The lock is held. Ends when the event is not EVENT_RESET any more, or with what `wait` fails.
template <typename Wait>
Ending waitWhileReset(EVENT& ev, int clock, Wait wait) {
    pthread_cond_t* condition = nullptr;
    Ending ending = chooseCondition(ev, clock, &condition);
    while (ending.result == 0 && ev.state == EVENT_RESET) {
        ending.result = wait(condition);
    }
    return ending;
}

Ending waitUntilSet(EVENT& ev, int clock) {
    const kt::MutexLock lock(ev.mutex.mutex);
    if (ev.state != EVENT_RESET) {
        return ev.state == EVENT_SET ? Ending{0} : unknownState(ev, EINVAL);
    }
    const Ending ending = waitWhileReset(ev, clock, [&ev](pthread_cond_t* condition) {
        return pthread_cond_wait(condition, &ev.mutex.mutex);
    });
    return ending.result == 0 && ev.state != EVENT_SET ? unknownState(ev, 0) : ending;
}

Ending waitUntilSetOr(const struct timespec* deadline, EVENT& ev, int clock) {
    const kt::MutexLock lock(ev.mutex.mutex);
    if (ev.state != EVENT_RESET) {
        return ev.state == EVENT_SET ? Ending{0} : unknownState(ev, EINVAL);
    }
    if (deadline == nullptr) {
        return {ETIMEDOUT};
    }
    return waitWhileReset(ev, clock, [&ev, deadline](pthread_cond_t* condition) {
        return pthread_cond_timedwait(condition, &ev.mutex.mutex, deadline);
    });
}

int told(const char* function, const Ending& ending) {
    if (ending.unknown != nullptr) {
        __debug(__LINE__, "%s() unknown %s: %d\n", function, ending.unknown, ending.value);
    }
    return ending.result;
}

}  // namespace

int initMutex(MUTEX* m, const pthread_mutexattr_t* attr, const char* name) {
    if (m == nullptr || name == nullptr) {
        return EINVAL;
    }
    memset(m, 0, sizeof *m);
    memcpy(m->name, name, strnlen(name, sizeof m->name));
    return pthread_mutex_init(&m->mutex, attr);
}

int destroyMutex(MUTEX* m) {
    return m == nullptr ? EINVAL : pthread_mutex_destroy(&m->mutex);
}

int initEventWithClocks(unsigned clockMask, EVENT* ev, const char* name) {
    if (ev == nullptr) {
        return EINVAL;
    }
    memset(ev, 0, sizeof *ev);
    ev->state = EVENT_RESET;
    const int result = initMutex(&ev->mutex, nullptr, name);
    return result != 0 ? result : _registerClockswithEvent(clockMask, ev);
}

int initEvent(EVENT* ev, const char* name) {
    return initEventWithClocks(EVENT_CLOCK_REALTIME, ev, name);
}

int _registerClockswithEvent(unsigned clockMask, EVENT* ev) {
    const int result = addConditions(clockMask, ev);
    if (result != 0) {
        kt::reportFailedAssertion("0 == rc", __LINE__, "_registerClockswithEvent FAILED");
    }
    return result;
}

int _registerConditionWithClock(int clock, pthread_cond_t* cond) {
    pthread_condattr_t attributes;
    int result = cond == nullptr ? EINVAL : pthread_condattr_init(&attributes);
    if (result != 0) {
        return result;
    }
    if (clock == EVENT_CLOCK_MONOTONIC) {
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    }
    result = pthread_cond_init(cond, &attributes);
    pthread_condattr_destroy(&attributes);
    return result;
}

int destroyEvent(EVENT* ev) {
    if (ev == nullptr) {
        return EINVAL;
    }
    if (hasClock(ev->clocks, EVENT_CLOCK_REALTIME)) {
        pthread_cond_destroy(&ev->condRealtime);
    }
    if (hasClock(ev->clocks, EVENT_CLOCK_MONOTONIC)) {
        pthread_cond_destroy(&ev->condMonotonic);
    }
    const int result = destroyMutex(&ev->mutex);
    memset(ev, 0, sizeof *ev);
    return result;
}

int setEvent(EVENT* ev) {
    if (ev == nullptr) {
        return EINVAL;
    }
    store(*ev, EVENT_SET);
    if (hasClock(ev->clocks, EVENT_CLOCK_REALTIME)) {
        pthread_cond_broadcast(&ev->condRealtime);
    }
    if (hasClock(ev->clocks, EVENT_CLOCK_MONOTONIC)) {
        pthread_cond_broadcast(&ev->condMonotonic);
    }
    return 0;
}

int resetEvent(EVENT* ev) {
    if (ev == nullptr) {
        return EINVAL;
    }
    store(*ev, EVENT_RESET);
    return 0;
}

int isEventSet(EVENT* ev) {
    if (ev == nullptr) {
        return 0;
    }
    const kt::MutexLock lock(ev->mutex.mutex);
    return ev->state == EVENT_SET ? 1 : 0;
}

int eventCond_wait(EVENT* ev, int conditionClock) {
    return ev == nullptr ? EINVAL : told(__func__, waitUntilSet(*ev, conditionClock));
}

int event_wait(EVENT* ev) {
    return eventCond_wait(ev, EVENT_CLOCK_REALTIME);
}

int eventCond_timedwait(EVENT* ev, int conditionClock, const struct timespec* abstime) {
    return ev == nullptr ? EINVAL : told(__func__, waitUntilSetOr(abstime, *ev, conditionClock));
}

int event_timedwait(EVENT* ev, const struct timespec* abstime) {
    return eventCond_timedwait(ev, EVENT_CLOCK_REALTIME, abstime);
}
