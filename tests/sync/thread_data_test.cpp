#include <gtest/gtest.h>
#include <ktcommon.h>

#include <algorithm>
#include <future>

#include "support/forked_child.h"
#include "support/heap_requests.h"
#include "support/stdout_capture.h"

namespace {

TEST(ThreadData, EachThreadFindsItsOldestBlock) {
    EXPECT_EQ(initMutex(&gThreadDataLock, nullptr, "THREAD_DATA"), 0);
    EXPECT_TRUE(getThreadUniqueData() == nullptr && deleteThreadUniqueData() == -1);
    for (const size_t size : {size_t{0}, size_t{INT32_MAX} + 1, SIZE_MAX}) {
        EXPECT_EQ(createThreadUniqueData(size), nullptr);
    }
    void* first = createThreadUniqueData(3000);
    for (int grants = 0; kHeapRefuses && grants < 2; ++grants) {
        EXPECT_EQ(withHeapGrants(grants, [] { return createThreadUniqueData(8); }), nullptr);
    }
    EXPECT_EQ(threadUniqueDataHead->next, nullptr);
    const auto ofAnother = [first] {
        void* own = createThreadUniqueData(8);
        void* next = createThreadUniqueData(127);
        const TUD_ENTRY& entry = *volThreadUniqueDataHead()->next;
        EXPECT_EQ(std::tuple(entry.threadId, entry.size, entry.data), std::tuple(gettid(), 8, own));
        std::ostringstream list;
        list << std::hex << "TUD list\n  ThreadID: 0x" << getpid() << ", size: 3000 bytes at " << first
             << "\n  ThreadID: 0x" << gettid() << ", size: 8 bytes at " << own << "\n  ThreadID: 0x"
             << gettid() << ", size: 127 bytes at " << next << "\n\n";
        EXPECT_EQ(kt::test::printedBy([] { EXPECT_EQ(_showTUDList(), 0); }), list.str());
        EXPECT_TRUE(getThreadUniqueData() == own && deleteThreadUniqueData() == 0);
        EXPECT_TRUE(getThreadUniqueData() == next && deleteThreadUniqueData() == 0);
        EXPECT_TRUE(getThreadUniqueData() == nullptr && deleteThreadUniqueData() == -1);
        return createThreadUniqueData(5);
    };
    const void* left = std::async(std::launch::async, ofAnother).get();
    EXPECT_EQ(getThreadUniqueData(), first);
    EXPECT_EQ(kt::test::inChild([] { return getThreadUniqueData() == nullptr ? 0 : 1; }), 0);
    EXPECT_TRUE(deleteThreadUniqueData() == 0 && volThreadUniqueDataHead()->data == left);
    threadUniqueDataHead->threadId = gettid();
    EXPECT_TRUE(deleteThreadUniqueData() == 0 && threadUniqueDataHead == nullptr);
}

TEST(ThreadData, ManyThreadsKeepTheListAndTheSum) {
    int sum = 10;
    const auto work = [&sum] {
        for (int round = 0; round < 5000; ++round) {
            auto* own = static_cast<unsigned char*>(createThreadUniqueData(64));
            ASSERT_TRUE(getThreadUniqueData() == own && std::count(own, own + 64, 0) == 64);
            ASSERT_TRUE(memset(own, 0xFF, 64) == own && deleteThreadUniqueData() == 0);
        }
        for (int round = 0; round < 10000000; ++round) { atomic_add(&sum, 5); }
    };
    auto other = std::async(std::launch::async, work);
    work();
    other.get();
    EXPECT_TRUE(sum == 100000010 && threadUniqueDataHead == nullptr) << sum;
    EXPECT_TRUE(atomic_add(&sum, -100000015) == -5 && sum == -5);
    EXPECT_TRUE(atomic_store(&sum, 7) == 7 && sum == 7);
}

TEST(ThreadData, OpensslCallbacks) {
    EXPECT_EQ(openssl_thread_lock(1, 3), EINVAL);
    pthread_mutex_t locks[5] = {};
    ssl_thread_locks = locks;
    for (const int mode : {1, 5}) {
        EXPECT_TRUE(openssl_thread_lock(mode, 3) == 0 && pthread_mutex_trylock(&locks[3]) == EBUSY);
        EXPECT_TRUE(openssl_thread_lock(mode - 1, 3) == 0 && pthread_mutex_trylock(&locks[3]) == 0);
        pthread_mutex_unlock(&locks[3]);
    }
    EXPECT_EQ(getThreadID(), static_cast<uint32_t>(pthread_self()));
    EXPECT_NE(getThreadID(), std::async(std::launch::async, getThreadID).get());
}

}  // namespace
