#include <fnmatch.h>
#include <gtest/gtest.h>
#include <ktcommon.h>

#include "support/cancellable_thread.h"
#include "support/heap_requests.h"
#include "support/stdout_capture.h"

namespace {

// One line of output for each line of the pattern.
void expectLines(const std::string& printed, const std::string& pattern) {
    EXPECT_EQ(fnmatch(pattern.c_str(), printed.c_str(), 0), 0) << printed << pattern;
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'),
              std::count(pattern.begin(), pattern.end(), '\n'));
}

TEST(SplitTimer, CountsAndMeasuresTwoClocks) {
    DebugTimer timer = {nullptr, {9, 9}, {9, 9}, 9, 9, 9};
    gDebugMode = DEBUG_GENERAL;
    const std::string printed = kt::test::printedBy([&timer] {
        EXPECT_EQ(__debugStartTimer(4321, &timer, "d%s", "b%n"), &timer);
        timer.start.tv_sec -= 3600;
        timer.start2.tv_sec -= 7200;
        EXPECT_EQ(__debugSplitTimer(2, &timer, "%s\n", "1%n"), 0);
        EXPECT_EQ(__debugSplitTimer2(3, &timer, "a\n"), 0);
        EXPECT_EQ(__debugSplitTimer2(4, &timer, "b\n"), 0);
        EXPECT_EQ(__debugResetTimer2(5, &timer), 0);
        timer.start2.tv_sec -= 3600;
        EXPECT_EQ(__debugSplitTimer2(6, &timer, "c\n"), 0);
        EXPECT_EQ(__debugStopTimer(7, &timer, "%s\n", "done"), 0);
        __debugStartTimer(8, &timer, nullptr);
        EXPECT_EQ(__debugStopTimer(9, &timer, nullptr), 0);
    });
    char defaultName[24];
    snprintf(defaultName, sizeof defaultName, "timer %04d", getpid());
    expectLines(
        printed,
        "*(4321): \\[db%n] \\[started]\n*:   \\[db%n::1::36?????ms] 1%n\n*: \\[db%n] a\n"
        "*:   \\[db%n::1::72?????ms] b\n*:   \\[db%n::2::36?????ms] c\n*: \\[db%n::2::36?????ms] done\n"
        "*: \\[" +
            std::string(defaultName) + "] \\[started]\n");
}

TEST(SplitTimer, DoesNothingUnlessStartedAndTracing) {
    DebugTimer timer = {nullptr, {9, 9}, {9, 9}, 9, 9, 9};
    const auto start = [&timer] { return errno = EDOM, __debugStartTimer(1, &timer, "a"); };
    const auto stop = [&timer] { return errno = EDOM, __debugStopTimer(1, &timer, "\n"); };
    const auto tryAll = [](DebugTimer* tried) {
        const int all = __debugSplitTimer(1, tried, "a") & __debugSplitTimer2(1, tried, "a");
        EXPECT_EQ(all & __debugStopTimer(1, tried, "a"), -1);
    };
    const std::string printed = kt::test::printedBy([&] {
        for (const bool isTracing : {false, kHeapRefuses}) {
            gDebugMode = isTracing ? DEBUG_GENERAL : ~DEBUG_GENERAL;
            timer.name = reinterpret_cast<char*>(&timer);
            EXPECT_EQ(withHeapGrants(0, start), nullptr);
            EXPECT_EQ(errno, EDOM);
            EXPECT_EQ(timer.name, nullptr);
        }
        gDebugMode = DEBUG_GENERAL;
        tryAll(&timer);
        tryAll(nullptr);
        EXPECT_EQ(__debugStartTimer(1, nullptr, "a"), nullptr);
        EXPECT_EQ(timer.start.tv_sec + timer.start2.tv_usec + timer.indent + timer.splits, 36);
        start();
        gDebugMode = 0;
        tryAll(&timer);
        timer.start2.tv_sec = 9;
        EXPECT_EQ(__debugResetTimer2(1, &timer) | __debugResetTimer2(1, nullptr), 0);
        EXPECT_NE(timer.start2.tv_sec, 9);
        gDebugMode = DEBUG_GENERAL;
        EXPECT_EQ(withHeapGrants(0, stop), 0);
        EXPECT_EQ(errno, EDOM);
        start();
        kt::test::CancellableThread thread([&] { pthread_cancel(pthread_self()), stop(); });
        EXPECT_FALSE(thread.join());
    });
    const std::string started = "*: \\[a] \\[started]\n";
    expectLines(printed, started + (kHeapRefuses ? "" : "*: \\[a::1::*ms] \n") + started);
    EXPECT_EQ(timer.name, nullptr);
}

}  // namespace
