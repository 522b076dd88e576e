// Real semaphores; the unit has a /dev/shm of its own.
#include <gtest/gtest.h>
#include <ktcommon.h>

#include <atomic>
#include <future>

#include "support/forked_child.h"
#include "support/stdout_capture.h"

namespace {

constexpr mode_t kMask = 027;

TEST(Semaphore, OpensOrCreates) {
    umask(kMask);
    EXPECT_EQ(semGet(nullptr), nullptr);
    const std::string path = SEMAPHORE_DIRECTORY + ("/sem." + std::string(RETRYQUEUE_SEM + 1));
    EXPECT_EQ(path, "/dev/shm/sem.qslp_retryQueue.sem");
    struct stat file = {};
    for (const auto& [count, mode] : {std::pair(1, 0666U), std::pair(2, 0600U)}) {
        sem_t* semaphore = semGet(RETRYQUEUE_SEM);
        int found = -1;
        EXPECT_TRUE(sem_getvalue(semaphore, &found) == 0 && found == count) << found;
        EXPECT_TRUE(stat(path.c_str(), &file) == 0 && (file.st_mode & 07777) == mode) << file.st_mode;
        sem_post(semaphore);
        chmod(path.c_str(), 0600);
        sem_close(semaphore);
        EXPECT_EQ(umask(kMask), kMask);
    }
}

// What is printed at the exit tells that the message has been, the mask is back and the lock free.
TEST(Semaphore, FailureEndsTheProcess) {
    const auto fail = [] {
        umask(kMask);
        atexit([] { dprintf(STDOUT_FILENO, "%o %d\n", umask(0), semGet(LIVETAGMAPS_SEM) != nullptr); });
        return semGet("/a%s/b") == nullptr ? 1 : 2;
    };
    EXPECT_EQ(kt::test::printedBy([&] { EXPECT_EQ(kt::test::inChild(fail), 0); }),
              "Couldn't get semaphore /a%s/b. Error 22/Invalid argument\n27 1\n");
    EXPECT_STREQ(LIVETAGMAPS_SEM, "/dwen_liveTagMaps.sem");
}

TEST(Semaphore, ConcurrentCallsAndForksKeepTheMask) {
    umask(kMask);
    std::atomic<bool> isOver = false;
    const auto call = [&isOver] {
        for (; !isOver; sem_close(semGet(LIVETAGMAPS_SEM))) {}
    };
    std::future<void> callers[] = {std::async(std::launch::async, call),
                                   std::async(std::launch::async, call)};
    for (int child = 0; child < 200; ++child) {
        EXPECT_EQ(kt::test::inChild([] { return umask(0) == kMask ? 0 : 1; }), 0);
    }
    isOver = true;
    callers[0].get(), callers[1].get();
    EXPECT_EQ(umask(kMask), kMask);
}

}  // namespace
