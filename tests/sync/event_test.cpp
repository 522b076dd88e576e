#include <dlfcn.h>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <ktcommon.h>

#include <climits>

#include "support/cancellable_thread.h"
#include "support/debug_lines.h"
#include "support/scripted_wait.h"

// The mutex or condition that cannot be had.
static const void* refused;

KT_API int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    static const auto real = reinterpret_cast<decltype(&pthread_mutex_init)>(dlsym(RTLD_NEXT, __func__));
    return mutex == refused ? EAGAIN : real(mutex, attributes);
}
KT_API int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
    static const auto real = reinterpret_cast<decltype(&pthread_cond_init)>(dlsym(RTLD_NEXT, __func__));
    return condition == refused ? EAGAIN : real(condition, attributes);
}

namespace {

using Results = std::vector<int>;  // of calls in the order in which they stand in the braces

constexpr timespec kNever = {0x7fffffff, 0};

// Clock 0: with the functions that do not ask for one.
int waitFor(EVENT* ev, int clock, bool isTimed) {
    if (clock == 0) { return isTimed ? event_timedwait(ev, &kNever) : event_wait(ev); }
    return isTimed ? eventCond_timedwait(ev, clock, &kNever) : eventCond_wait(ev, clock);
}

TEST(Event, RecordsBeginAndEndCleared) {
    MUTEX mutex = {{}, "old", 1, 2};
    auto* const lock = reinterpret_cast<pthread_mutex_t*>(&mutex);
    pthread_mutexattr_t recursive;
    pthread_mutexattr_init(&recursive);
    pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
    EXPECT_EQ(initMutex(&mutex, nullptr, nullptr), EINVAL);
    EXPECT_STREQ(mutex.name, "old");
    EXPECT_EQ(initMutex(&mutex, &recursive, std::string(70, 'n').c_str()), 0);
    EXPECT_EQ(Results({pthread_mutex_trylock(lock), pthread_mutex_trylock(lock)}), Results(2));
    EXPECT_TRUE(mutex.name == std::string(64, 'n') && mutex.reserved2 == 0);
    EVENT event;
    memset(&event, 0xFF, sizeof event);
    EXPECT_EQ(initEvent(&event, nullptr), EINVAL);
    EXPECT_TRUE(event.state == EVENT_RESET && event.clocks == 0 && event.mutex.name[0] == '\0');
    EXPECT_TRUE(initEvent(&event, "") == 0 && event.clocks == 0x10);
    // clang-format off
    const struct { unsigned mask; const void* unavailable; int result; unsigned clocks; } cases[] = {
        {0xF0F, nullptr, EINVAL, 0}, {0x10, &event.condRealtime, EAGAIN, 0}, {0x30, &event.mutex, EAGAIN, 0},
        {0x20, nullptr, 0, 0x20}, {0x30, &event.condRealtime, 0, 0x20}, {0x30, &event.condMonotonic, EAGAIN, 0x10}};
    // clang-format on
    for (const auto& [mask, unavailable, result, clocks] : cases) {
        refused = unavailable;
        EXPECT_EQ(initEventWithClocks(mask, &event, "pump"), result);
        refused = nullptr;
        EXPECT_EQ(event.clocks, clocks);
        EXPECT_EQ(Results({_registerClockswithEvent(0x30, &event), isEventSet(&event), setEvent(&event),
                           isEventSet(&event), resetEvent(&event), isEventSet(&event)}),
                  Results({0, 0, 0, 1, 0, 0}));
        EXPECT_TRUE(strcmp(event.mutex.name, "pump") == 0 && event.clocks == 0x30);
        event.mutex.mutex = mutex.mutex;  // is locked
        EXPECT_EQ(destroyEvent(&event), EBUSY);
        const auto* const bytes = reinterpret_cast<const char*>(&event);
        EXPECT_EQ(std::count(bytes, bytes + sizeof event, '\0'), static_cast<int>(sizeof event));
    }
    EXPECT_EQ(Results({event_wait(&event), event_timedwait(&event, nullptr), initMutex(nullptr, nullptr, ""),
                       destroyMutex(nullptr), initEvent(nullptr, ""), _registerClockswithEvent(16, nullptr),
                       _registerConditionWithClock(0, nullptr), destroyEvent(nullptr), setEvent(nullptr),
                       resetEvent(nullptr), event_wait(nullptr), event_timedwait(nullptr, nullptr)}),
              Results(12, EINVAL));
    EXPECT_EQ(isEventSet(nullptr), 0);
}

// A wait that sleeps is woken three times: twice the event is found reset, then as the case says.
TEST(Event, WaitsEnd) {
    // clang-format off
    const struct { unsigned clocks, state, found; int selector, result, polled; const char* line; } cases[] = {
        {0x10, EVENT_SET, 0, 0x40, 0, 0, ""},              {0x10, EVENT_RESET, EVENT_SET, 0, 0, ETIMEDOUT, ""},
        {0x20, EVENT_RESET, 0, 0, EINVAL, ETIMEDOUT, ""},  {0x20, EVENT_RESET, 0, 0x10, EINVAL, ETIMEDOUT, ""},
        {0x10, 7, 0, 0x11, EINVAL, EINVAL, "event state: 7\n"},
        {0x30, EVENT_RESET, 0, 0x30, EINVAL, ETIMEDOUT, "conditionClock: 48\n"},
        {0x20, EVENT_RESET, 7, 0x20, 0, ETIMEDOUT, "event state: 7\n"},
        {0x30, EVENT_RESET, EVENT_RESET, 0x10, EPERM, ETIMEDOUT, ""},
        {0x30, EVENT_RESET, EVENT_SET, 0x20, ETIMEDOUT, ETIMEDOUT, ""}};
    // clang-format on
    for (size_t i = 0; i < 2 * std::size(cases); ++i) {
        const auto& c = cases[i / 2];
        const bool isTimed = i % 2 == 1;
        EVENT event;
        int wakeUps = 0;
        initEventWithClocks(c.clocks, &event, "");
        event.state = c.state;
        EXPECT_EQ(eventCond_timedwait(&event, c.selector, nullptr), c.polled);
        t_wait = [&](auto* condition, auto* mutex, const timespec* deadline) {
            EXPECT_EQ(condition, c.selector == 0x20 ? &event.condMonotonic : &event.condRealtime);
            EXPECT_TRUE(deadline == (isTimed ? &kNever : nullptr) && pthread_mutex_trylock(mutex) == EBUSY);
            event.state = ++wakeUps < 3 ? EVENT_RESET + 0U : c.found;
            return wakeUps < 3 ? 0 : c.result;
        };
        int result = -1;
        const std::string line =
            kt::test::debugLinesOf([&] { result = waitFor(&event, c.selector, isTimed); });
        t_wait = nullptr;
        const std::string name = "eventCond_" + std::string(isTimed ? "timed" : "") + "wait() unknown ";
        const bool isTold = *c.line != '\0' && !(isTimed && c.found == 7);
        EXPECT_EQ(line, isTold ? name + c.line : "") << i;
        EXPECT_EQ(result, c.result) << i;
        EXPECT_EQ(wakeUps, c.found == 0 ? 0 : 3) << i;
        destroyEvent(&event);
    }
}

// Before the wait begins, while it does, or in it.
TEST(Event, CancellationLeavesNoLock) {
    static EVENT event;
    void (*const calls[])() = {[] { eventCond_wait(&event, 0x10); },
                               [] { waitFor(&event, 0x10, true); },
                               [] { eventCond_wait(&event, 0x20); },
                               [] { waitFor(&event, 0x20, true); },
                               [] { sleep_s(UINT_MAX); },
                               [] { tsleep_s(UINT_MAX); },
                               [] { usleep_s(999999); },
                               [] { usleep_s(UINT_MAX); }};
    for (size_t i = 0; i < 20 * std::size(calls); ++i) {
        initEventWithClocks(0x30, &event, "");
        kt::test::CancellableThread thread(calls[i % std::size(calls)]);
        for (size_t yields = 0; yields < i; ++yields) { std::this_thread::yield(); }
        thread.cancel();
        EXPECT_FALSE(thread.join()) << i;
        ASSERT_EQ(destroyEvent(&event), 0) << i;  // EBUSY while it is locked
    }
}

// In each round the event times out, is pulsed, and then lets seven waiters through, of which the last asks until it is set.
void runRounds(int rounds) {
    EVENT events[3];
    for (EVENT& event : events) { initEventWithClocks(0x30, &event, ""); }
    EVENT* const done = &events[2];
    std::atomic<int> missing{0};
    std::vector<std::thread> waiters;
    for (const int kind : {0, 1, 2, 3, 4, 5, 6}) {
        waiters.emplace_back([&, kind] {
            for (int round = 0; round < rounds; ++round) {
                EVENT* const ours = &events[round % 2];
                kt::test::until([&] { return kind != 6 || isEventSet(ours) == 1; });
                EXPECT_EQ(waitFor(ours, kind / 2 % 3 * 0x10, kind % 2 == 0), 0);
                EXPECT_EQ(--missing == 0 ? setEvent(done) : 0, 0);
            }
        });
    }
    for (int round = 0; round < rounds; ++round) {
        EVENT* const ours = &events[round % 2];
        const clockid_t clock = round / 2 % 2;
        timespec limit, now;
        GetMsDelay(clock, &limit, round % 50 == 0 ? 5 : 0);
        EXPECT_EQ(eventCond_timedwait(ours, 0x10 << clock, &limit), ETIMEDOUT);
        clock_gettime(clock, &now);
        EXPECT_GE(std::tie(now.tv_sec, now.tv_nsec), std::tie(limit.tv_sec, limit.tv_nsec));
        missing = 7;
        GetMsDelay(clock, &limit, 60000);
        EXPECT_EQ(Results({setEvent(ours), resetEvent(ours), setEvent(ours)}), Results(3));
        ASSERT_EQ(eventCond_timedwait(done, 0x10 << clock, &limit), 0) << "lost a wake-up in round " << round;
        EXPECT_EQ(resetEvent(done) + resetEvent(ours), 0);
    }
    std::for_each(waiters.begin(), waiters.end(), [](std::thread& waiter) { waiter.join(); });
}

TEST(Event, NoWakeUpIsLostAndNoTimeOutEarly) { runRounds(2000); }

TEST(Event, DISABLED_soakRounds) { runRounds(100000); }

TEST(Event, FailuresAreReportedWhileDebugging) {
    const auto fail = [] {
        EXPECT_EQ(_registerClockswithEvent(0, &g_displayWakeEvent), EINVAL);
        EXPECT_EQ(GetMsDelay(2, nullptr, 10) + GetMsDelay(-1, nullptr, 10), 2 * EINVAL);
    };
    gDebugMode = 0x3FC;
    EXPECT_EQ(kt::test::printedBy(fail, stderr), "");
    gDebugMode = 0x001;
    const std::string report = kt::test::printedBy(fail, stderr);
    gDebugMode = 0;
    const char* pattern =
        "*\n  Failed expression: (0 == rc) @ ktcommon.cpp (line: *)\n"
        "  Comment: \"_registerClockswithEvent FAILED\"\n*)\n  Comment: \"GetMsDelay FAILED\"\n*";
    EXPECT_EQ(fnmatch(pattern, report.c_str(), 0), 0) << report;
}

}  // namespace
