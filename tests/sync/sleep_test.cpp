#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ktcommon.h>

#include <climits>

#include "support/scripted_wait.h"

// The time of every clock, unless it is null; with negative nanoseconds one reading fails.
static const timespec* standing;

KT_API int clock_gettime(clockid_t clock, timespec* now) noexcept {
    static const auto real = reinterpret_cast<decltype(&clock_gettime)>(dlsym(RTLD_NEXT, __func__));
    if (standing != nullptr && standing->tv_nsec < 0) {
        standing = nullptr;
        errno = EPERM;
        return -1;
    }
    return standing == nullptr ? real(clock, now) : (*now = *standing, 0);
}
KT_API int gettimeofday(timeval* now, void*) noexcept {
    timespec time = {};
    const int result = clock_gettime(CLOCK_REALTIME, &time);
    *now = {time.tv_sec, static_cast<suseconds_t>(time.tv_nsec / 1000)};
    return result;
}

namespace {

constexpr time_t kLast = std::numeric_limits<time_t>::max();
constexpr timeval kBase = {100, 250};

// The timed waits of the sleeps wake up twice for nothing, and end with the result in the fourth column.
TEST(Sleep, Deadlines) {
    const std::tuple<timespec, int (*)(timespec*), timespec, int, int> cases[] = {
        {{10, 600000000}, [](timespec* t) { return GetMsDelay(1, t, 1500); }, {12, 100000000}, 0, 0},
        {{10, 5}, [](timespec* t) { return GetMsDelay(0, t, -5); }, {10, 5}, 0, 0},
        {{10, 353000000}, [](timespec* t) { return GetMsDelay(0, t, INT_MAX); }, {2147494, 0}, 0, 0},
        {{kLast, 999999999}, [](timespec* t) { return GetMsDelay(0, t, 1); }, {kLast, 999999}, 0, 0},
        {{1, 2}, [](timespec* t) { return timeCalcAbs(t, &kBase, 3), 0; }, {103, 250000}, 0, 0},
        {{1, 2999}, [](timespec* t) { return timeCalcAbs(t, nullptr, 3), 0; }, {4, 2000}, 0, 0},
        {{1, 2}, [](timespec*) { return timeCalcAbs(nullptr, &kBase, 3), 0; }, {7, 7}, 0, 0},
        {{1, -1}, [](timespec* t) { return GetMsDelay(0, t, 1) == -1 ? errno : 0; }, {7, 7}, 0, EPERM},
        {{100, 250999}, [](timespec*) { return tsleep_s(0); }, {100, 250000}, ETIMEDOUT, ETIMEDOUT},
        {{kLast - 1, 0}, [](timespec*) { return tsleep_s(UINT_MAX); }, {kLast, 0}, EINVAL, EINVAL},
        {{100, 700000000}, [](timespec*) { return usleep_s(2500000); }, {103, 200000000}, ETIMEDOUT, 0},
        {{1, 999999000}, [](timespec*) { return usleep_s(UINT_MAX); }, {4296, 967294000}, EINVAL, EINVAL}};
    gDebugMode = DEBUG_GENERAL;
    for (const auto& [now, call, expected, wait, result] : cases) {
        timespec deadline = {7, 7};
        int waits = 0;
        t_wait = [&, wait = wait](auto*, auto*, const timespec* told) {
            EXPECT_TRUE(waits == 0 || memcmp(&deadline, told, sizeof deadline) == 0);
            deadline = *told;
            return ++waits < 3 ? 0 : wait;
        };
        standing = &now;
        const int returned = call(&deadline);
        standing = nullptr;
        t_wait = nullptr;
        EXPECT_EQ(returned, result);
        EXPECT_EQ(std::tie(deadline.tv_sec, deadline.tv_nsec), std::tie(expected.tv_sec, expected.tv_nsec));
        EXPECT_EQ(waits, wait == 0 ? 0 : 3);
    }
}

TEST(Sleep, SignalsEndTheShortSleepsOnly) {
    timeval times[2];
    gettimeofday(&times[0], nullptr);
    EXPECT_EQ(sleep_s(1) + usleep_s(20000), 0);
    signal(SIGALRM, [](int) {});
    ualarm(5000, 5000);
    EXPECT_EQ(usleep_s(1000000), 0);
    gettimeofday(&times[1], nullptr);
    EXPECT_GE(timevalDiff(&times[0], &times[1]), 2020);
    EXPECT_EQ(sleep_s(UINT_MAX) + usleep_s(999999), -2);
    EXPECT_EQ(errno, EINTR);
    ualarm(0, 0);
}

}  // namespace
