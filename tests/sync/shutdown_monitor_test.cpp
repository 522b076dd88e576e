// Real semaphores; the unit has a /dev/shm of its own. A wait for something that never comes ends by the
// run's limit.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <semaphore.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>

#include "support/forked_child.h"
#include "support/stdout_capture.h"

namespace {

const std::string kLongest(239, 'x');
std::atomic<int> interruptions;
std::atomic<int> requests;
std::atomic<int> calls;

// Far too many calls: for one that nobody asked for, and in a thread that could not report a stack overflow.
void onShutdown() {
    stack_t signalStack;
    sigaltstack(nullptr, &signalStack);
    calls += calls < requests && (signalStack.ss_flags & SS_DISABLE) == 0 ? 1 : 1000;
}

template <typename Condition>
void until(Condition holds) {
    while (!holds()) {
        sched_yield();
    }
}

std::string pathOf(const std::string& moduleName) {
    return "/dev/shm/sem.ktCleanExit_" + moduleName;
}

pthread_t startMonitor(const std::string& moduleName) {
    auto* context = static_cast<ShutdownMonitorContext*>(malloc(sizeof(ShutdownMonitorContext)));
    *context = {"", onShutdown};
    strlcpy(context->moduleName, moduleName.c_str(), sizeof context->moduleName);
    pthread_t monitor;
    pthread_create(&monitor, nullptr, _shutdownMonitorThread, context);
    struct stat file = {};
    until([&] { return stat(pathOf(moduleName).c_str(), &file) == 0 && (file.st_mode & 0777) == 0666; });
    return monitor;
}

TEST(ShutdownMonitor, OnlyARequestInItsNameEndsTheWait) {
    struct sigaction counting = {};
    counting.sa_handler = [](int) { ++interruptions; };
    sigaction(SIGUSR1, &counting, nullptr);
    umask(077);
    gDebugMode = DEBUG_GENERAL;
    for (const bool stays : {false, true}) {
        // Two requests that nobody has received; a mounted file cannot be unlinked.
        ASSERT_EQ(sem_close(sem_open(("/ktCleanExit_" + kLongest).c_str(), O_CREAT | O_EXCL, 0600, 2)), 0);
        const std::string path = pathOf(kLongest);
        ASSERT_EQ(stays ? mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) : 0, 0);
        const std::string printed = kt::test::printedBy([&] {
            const pthread_t monitor = startMonitor(kLongest);
            SignalModuleShutdown(std::string(239, 'X').c_str());
            for (const int latest = interruptions + 200; interruptions < latest;) {
                const int next = interruptions + 1;
                pthread_kill(monitor, SIGUSR1);
                until([next] { return interruptions == next; });
            }
            ++requests;
            EXPECT_EQ(kt::test::inChild([] { return SignalModuleShutdown(kLongest.c_str()); }), 0);
            pthread_join(monitor, nullptr);
        });
        EXPECT_EQ(calls, requests);
        EXPECT_EQ(printed.substr(printed.find("): ")), "): " + kLongest + " ShutdownEvent received.\n");
        EXPECT_EQ(access(path.c_str(), F_OK), stays ? 0 : -1);
    }
}

constexpr char kNoSemaphore[] = "initShutdownMonitor, failed to acquire semaphore: /ktCleanExit_";

TEST(ShutdownMonitor, ArgumentsAndNames) {
    const std::string printed = kt::test::printedBy([] {
        EXPECT_EQ(initShutdownMonitor("x", nullptr), 22);
        EXPECT_EQ(initShutdownMonitor(nullptr, onShutdown), 22);
    });
    EXPECT_EQ(printed, "initShutdownMonitor: invalid param\ninitShutdownMonitor: invalid param\n");
    EXPECT_EQ(SignalModuleShutdown(nullptr), 22);
    const pthread_t monitor = startMonitor("cancelled");
    pthread_cancel(monitor);
    pthread_join(monitor, nullptr);
    EXPECT_NE(access(pathOf("cancelled").c_str(), F_OK), 0);
    for (const std::string& name : {kLongest + 'x', std::string(600, 'y')}) {
        const auto start = [&name] {
            initShutdownMonitor(name.c_str(), onShutdown);
            until([] { return lseek(STDOUT_FILENO, 0, SEEK_END) > 0; });
        };
        EXPECT_EQ(kt::test::printedBy(start), kNoSemaphore + name.substr(0, 511) + "\n");
    }
    EXPECT_EQ(calls, requests);
}

}  // namespace
