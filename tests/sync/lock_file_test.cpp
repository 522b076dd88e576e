// Runs in the virtual unit, where /tmp is its own.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <random.h>
#include <sys/file.h>

#include <csignal>
#include <functional>

#include "support/cancellable_thread.h"
#include "support/debug_lines.h"
#include "support/files.h"

// What happens in a wait, and how long it sleeps.
static std::function<int()> inWait = [] { return 0; };
static std::atomic<int> waits;
int getRandomInt(int low, int high) {
    EXPECT_TRUE(low == 50 && high == 250) << low << " " << high;
    ++waits;
    return inWait();
}

namespace {

using namespace kt::test;
using namespace std::string_literals;

constexpr const char* kPath = "/tmp/lock";
const std::string kMissing = "no file";

void write(const std::string& content) {
    unlink(kPath);
    if (content != kMissing) { setContents(kPath, content); }
}

// All lines of one who waits in vain.
std::string lines(const std::string& tag) {
    std::string all;
    for (int count = 10; count <= 100; count += 10) {
        all += tag + ": waiting: " + std::to_string(count) + '\n';
    }
    return all + tag + ": taking lock\n";
}

TEST(LockFile, ValuesDecideWhoWaits) {
    const auto get = [](const char* path) { return fileGetLockValue(path) - 1; };
    const auto never = [](const char* path) { return fileSetLockValue(path, 256, 9, "%s"); };
    const std::tuple<std::string, int (*)(const char*), std::string, std::string> cases[] = {
        {kMissing, get, "\1", ""},
        {"", get, "", ""},
        {kMissing, fileSetLock, "\0"s, ""},
        {"\1rest", fileSetLock, "\0rest"s, ""},
        {"\0rest"s, fileFreeLock, "\1rest", ""},
        {"\0"s, fileSetLock, "\0"s, lines("fSL")},
        {"\7", fileSetLock, "\0"s, lines("fSL")},
        {"\7", fileFreeLock, "\1", lines("fFL")},
        {kMissing, never, "\11", lines("%s")}};
    for (const auto& [before, call, after, printed] : cases) {
        write(before);
        waits = 0;
        EXPECT_EQ(debugLinesOf([&, call = call] { EXPECT_EQ(call(kPath), 0); }), printed);
        EXPECT_EQ(contentsOf(kPath), after) << before;
        EXPECT_EQ(waits, printed.empty() ? 0 : MAX_LOCK_RETRIES);
    }
    write("\xFF");
    EXPECT_EQ(fileGetLockValue(kPath), 255);
    EXPECT_LT(dup(0), 32) << "descriptors are left behind";
}

TEST(LockFile, NothingWaitsForWhatIsNoLock) {
    waits = 0;
    write(kMissing);
    ASSERT_EQ(mkfifo("/tmp/fifo", 0600) + symlink(kPath, "/tmp/link"), 0);
    for (const char* path : {"/tmp", "/tmp/fifo", "/no/such/file", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(fileGetLockValue(path) + fileSetLock(path), 1);
    }
    EXPECT_EQ(fileFreeLock(nullptr), 0);
    EXPECT_TRUE(fileGetLockValue("/tmp/link") == 1 && contentsOf(kPath) == "\1");
    const int foreign = open(kPath, O_RDONLY | O_CLOEXEC);
    flock(foreign, LOCK_EX);
    EXPECT_TRUE(fileSetLock(kPath) == 0 && contentsOf(kPath) == "\0"s);
    close(foreign);
    EXPECT_EQ(waits, 0);
}

TEST(LockFile, SleepsInFullWhateverSignalsCome) {
    signal(SIGALRM, [](int) {});
    ualarm(1000, 1000);
    write("\0"s);
    inWait = [] { return write("\1"), 1050; };
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(fileSetLock(kPath), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1050));
    ualarm(0, 0);
    EXPECT_EQ(contentsOf(kPath), "\0"s);
}

// Those that come too late are cancelled in their sleep.
TEST(LockFile, OneOfManyTakesTheLock) {
    inWait = [] { return pthread_cancel(pthread_self()), 60000; };
    for (int round = 0; round < 400; ++round) {
        write(round % 2 == 0 ? kMissing : "\1");
        std::atomic<int> missing = 2;
        const auto take = [&missing] {
            for (--missing; missing > 0;) {}
            fileSetLock(kPath);
        };
        CancellableThread one(take), other(take);
        ASSERT_TRUE(one.join() != other.join() && contentsOf(kPath) == "\0"s) << round;
    }
}

}  // namespace
