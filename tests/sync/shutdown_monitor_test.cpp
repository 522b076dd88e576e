// Real semaphores; the unit has a /dev/shm of its own. A wait for something that never comes ends by the
// run's limit.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include "support/cancellable_thread.h"
#include "support/debug_lines.h"
#include "support/files.h"
#include "support/forked_child.h"

static std::atomic<pthread_t> monitor;  // the thread that removed a name last
static std::atomic<off_t> printedBeforeRemoval;

KT_API int sem_unlink(const char* name) noexcept {
    static const auto real = reinterpret_cast<decltype(&sem_unlink)>(dlsym(RTLD_NEXT, __func__));
    monitor = pthread_self();
    printedBeforeRemoval = lseek(STDOUT_FILENO, 0, SEEK_END);
    return real(name);
}

namespace {

using kt::test::until;

const std::string kLongest(239, 'x');
std::atomic<int> requests, calls;
bool isLeft;  // the semaphore's file, in the latest call

std::string pathOf(const std::string& moduleName) { return "/dev/shm/sem.ktCleanExit_" + moduleName; }

// In a detached thread that could report a stack overflow, after the line and without the semaphore.
void onShutdown() {
    EXPECT_TRUE(kt::test::hasSignalStack());
    EXPECT_EQ(pthread_detach(pthread_self()), EINVAL);
    EXPECT_TRUE(printedBeforeRemoval == 0 && lseek(STDOUT_FILENO, 0, SEEK_END) > 0);
    isLeft = access(pathOf(kLongest).c_str(), F_OK) == 0;
    ++calls;
}

void startMonitor(const std::string& moduleName) {
    EXPECT_EQ(initShutdownMonitor(moduleName.c_str(), onShutdown), 0);
    struct stat file = {};
    until([&] { return stat(pathOf(moduleName).c_str(), &file) == 0 && (file.st_mode & 0777) == 0666; });
}

TEST(ShutdownMonitor, OnlyARequestInItsNameEndsTheWait) {
    umask(077);
    for (const bool stays : {false, true}) {
        // Two requests that nobody has received; a mounted file cannot be unlinked.
        ASSERT_EQ(sem_close(sem_open(("/ktCleanExit_" + kLongest).c_str(), O_CREAT | O_EXCL, 0600, 2)), 0);
        const std::string path = pathOf(kLongest);
        ASSERT_EQ(stays ? mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) : 0, 0);
        const std::string printed = kt::test::debugLinesOf([&] {
            startMonitor(kLongest);
            SignalModuleShutdown(std::string(239, 'X').c_str());
            kt::test::interrupt(monitor, 200);
            EXPECT_EQ(calls, requests);
            ++requests;
            EXPECT_EQ(kt::test::inChild([] { return SignalModuleShutdown(kLongest.c_str()); }), 0);
            until([] { return calls >= requests; });
            EXPECT_EQ(SignalModuleShutdown(kLongest.c_str()), 0);
            EXPECT_EQ(kt::test::contentsOf("/proc/self/maps").find(pathOf("")), std::string::npos);
        });
        EXPECT_EQ(printed, kLongest + " ShutdownEvent received.\n");
        EXPECT_EQ(isLeft, stays);
    }
}

TEST(ShutdownMonitor, ArgumentsAndNames) {
    const std::string printed = kt::test::printedBy([] {
        EXPECT_EQ(initShutdownMonitor("x", nullptr), 22);
        EXPECT_EQ(initShutdownMonitor(nullptr, onShutdown), 22);
    });
    EXPECT_EQ(printed, "initShutdownMonitor: invalid param\ninitShutdownMonitor: invalid param\n");
    EXPECT_EQ(SignalModuleShutdown(nullptr), 22);
    startMonitor("cancelled");
    pthread_cancel(monitor);
    until([] { return access(pathOf("cancelled").c_str(), F_OK) != 0; });
    for (const std::string& name : {kLongest + 'x', std::string(600, 'y')}) {
        const auto start = [&name] {
            initShutdownMonitor(name.c_str(), onShutdown);
            until([] { return lseek(STDOUT_FILENO, 0, SEEK_END) > 0; });
        };
        EXPECT_EQ(
            kt::test::printedBy(start),
            "initShutdownMonitor, failed to acquire semaphore: /ktCleanExit_" + name.substr(0, 511) + "\n");
    }
    EXPECT_EQ(calls, requests);
}

}  // namespace
