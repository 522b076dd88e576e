// Real segments, in the unit's own IPC namespace.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/resource.h>
#include <sys/shm.h>

#include "support/forked_child.h"

namespace {

constexpr key_t kKey = 0x6b74;

// The emulated board knows no limit, but has no room for this twice.
constexpr size_t kHuge = 0x7FF00000;

TEST(SharedMemory, SharedByKeyUntilDestroyed) {
    int id = -1;
    const char* block = static_cast<char*>(smAlloc(kKey, &id, 100));
    struct shmid_ds state;
    ASSERT_EQ(shmctl(id, IPC_STAT, &state), 0);
    EXPECT_EQ(state.shm_perm.mode & 0777, 0666);
    const auto write = [] { return strlcpy(static_cast<char*>(smGetString(kKey, 50)), "there", 50); };
    EXPECT_EQ(kt::test::inChild([&] { return static_cast<int>(write()); }), 5);
    int refused = 0;
    EXPECT_TRUE(smAlloc(kKey, &refused, 8192) == nullptr && refused == -1);
    EXPECT_EQ(smDestroy(id), 0);
    EXPECT_STREQ(block, "there");
    EXPECT_TRUE(smRelease(block) == 0 && smRelease(block) == -1 && smDestroy(id) == -1);

    // A segment that cannot be attached keeps its identifier.
    const auto isRefused = [] {
        const struct rlimit none = {0, RLIM_INFINITY};
        setrlimit(RLIMIT_AS, &none);
        int huge = -1;
        const bool isFull = smAlloc(kKey, &huge, kHuge) == nullptr || smAlloc(kKey, &huge, kHuge) == nullptr;
        return isFull && smDestroy(huge) == 0;
    };
    EXPECT_EQ(kt::test::inChild(isRefused), 1);
}

}  // namespace
