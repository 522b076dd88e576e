// Runs in the virtual unit, where /tmp is its own.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>

#include <algorithm>
#include <functional>
#include <tuple>

#include "support/cancellable_thread.h"
#include "support/debug_lines.h"
#include "support/files.h"
#include "support/heap_requests.h"
#include "support/logged.h"
#include "support/random_text.h"

// The program's own definitions. In a thread that has something to happen before its reads they fail if that
// does; else every second one is interrupted and the others give less than they might.
static thread_local std::function<bool()> t_beforeRead;
#pragma GCC visibility push(default)
ssize_t read(int fd, void* data, size_t size) {
    static unsigned reads;
    if (!t_beforeRead) { return syscall(SYS_read, fd, data, size); }
    errno = t_beforeRead() ? EINTR : EIO;
    return errno == EIO || ++reads % 2 == 0 ? -1 : syscall(SYS_read, fd, data, std::min<size_t>(size, 4999));
}
#pragma GCC visibility pop

namespace {

using namespace kt::test;
using namespace std::string_literals;

constexpr char kPath[] = "/tmp/files_test";
constexpr char kFifo[] = "/tmp/files_fifo";
const char* const kNull = nullptr;  // as a format the compiler would not let it pass
const std::string kEnd(4, '\0');
const std::string kBig(200000, 'b');

void store(const std::string& bytes) { setContents(kPath, bytes); }
std::string stored(const std::string& path = kPath) { return contentsOf(path); }

// With the four bytes behind it; "no b" for null and size 0.
std::string contents(const char* path) {
    int size = -1;
    char* block = fileGetContentsEx(&size, "%s", path);
    std::string bytes(block == nullptr ? "no bytes" : block, static_cast<size_t>(size) + 4);
    free(block);
    return bytes;
}

// The rule in its own words.
std::string invertedLiterally(const std::string& text) {
    std::string result;
    for (size_t end = text.size(), i = end; i-- > 0;) {
        if (text[i] == '\n') { result += text.substr(i, std::exchange(end, i) - i); }
    }
    return result;
}

TEST(Files, AreReadWhateverTheyAre) {
    store("\nhuge");
    ASSERT_EQ(truncate64(kPath, (5LL << 30) + 3), 0);
    mkfifo(kFifo, 0600);
    const std::string number = stored("/sys/kernel/uevent_seqnum");
    const std::tuple<const char*, int, int, std::string, int, char, int> cases[] = {
        {"/tmp", 1, fileGetSize("/tmp"), "no b", -1, 0, -2},
        {"/nowhere", 0, 0, "no b", -1, 0, -2},
        {kPath, 1, INT_MAX, "no b", 1, '\n', 0},
        {kFifo, 1, 0, kEnd, -1, 0, 0},
        {"/dev/zero", 1, 0, kEnd, 1, 0, 0},
        {"/proc/filesystems", 1, 0, kEnd, 1, 'n', 0},
        {"/sys/kernel/uevent_seqnum", 1, 4096, number + kEnd, 1, number[0], 0}};
    for (const auto& [path, exists, size, whole, got, first, inverted] : cases) {
        char buffer[] = "##";
        char* result = nullptr;
        EXPECT_TRUE(fileExists("%s", path) == exists && fileGetSize(path) == size) << path;
        EXPECT_TRUE(fileGetByteContents(buffer, 1, "%s", path) == got && contents(path) == whole) << path;
        EXPECT_TRUE(buffer[0] == first && buffer[1] == '#') << path;
        EXPECT_EQ(invertFile(path, 9, &result), inverted) << path;
        EXPECT_STREQ(result, inverted == 0 ? "" : nullptr) << path;
        free(result);
    }
    EXPECT_TRUE(fileExists(kNull) == 0 && fileGetSize(nullptr) == 0 &&
                fileGetContents(kNull, nullptr) == kNull && fileGetByteContents(nullptr, 9, kPath) == -1);
}

TEST(Files, ShortReadsAndChangesMeanwhile) {
    for (int run = 0; run < 600; ++run) {
        std::string bytes;
        for (size_t line = randomUpTo(12); line > 0; --line) {
            bytes += std::string(randomUpTo(run % 2 == 0 ? 5 : 40000), 'a') + "\n\n\n\n\n\0"s[randomUpTo(5)];
        }
        const size_t newSize = run % 3 == 0 ? randomUpTo(bytes.size() + 9) : bytes.size();
        const size_t maxBytes = run % 5 == 0 ? 16384 : randomUpTo(bytes.size() + 9);
        t_beforeRead = [newSize] { return truncate(kPath, static_cast<off_t>(newSize)) == 0; };
        store(bytes);
        ASSERT_TRUE(contents(kPath) == bytes.substr(0, newSize) + kEnd);
        store(bytes);
        std::string tail = bytes.substr(0, newSize);
        tail.erase(0, bytes.size() - std::min(maxBytes, bytes.size()));
        tail.resize(strlen(tail.c_str()));
        char* result = nullptr;
        ASSERT_EQ(invertFile(kPath, static_cast<unsigned>(maxBytes), &result), 0);
        ASSERT_EQ(strlen(result) + std::count(result, result + tail.size() + 10, '\0'), tail.size() + 10);
        const std::string ofFile = taken(result, tail.size() + 10);
        ASSERT_EQ(invertStringBuffer(tail.c_str(), &result), 0);
        const std::string ofText = taken(result, tail.size() + 10);
        ASSERT_TRUE(ofText == invertedLiterally(tail) && ofFile == ofText) << bytes.size();
    }
    t_beforeRead = nullptr;
}

TEST(Files, AreWrittenWithTheirDirectories) {
    ASSERT_TRUE(chdir("/tmp") == 0 && (mkfifo(kFifo, 0600) == 0 || errno == EEXIST));
    const std::tuple<const char*, std::string, int> cases[] = {
        {"/tmp/put/1/2/text", "100%s\n", 1}, {"put/text", kBig, 1},   {"put/text", "\xFF", 1},
        {"files_test", "text", 1},           {"files_test", "", 0},   {"/tmp", "text", -2},
        {"files_fifo", "nobody reads", -2},  {"/dev/full", "text", 0}};
    for (const auto& [path, text, result] : cases) {
        EXPECT_EQ(filePutContents(path, "%s", text.c_str()), result) << path;
        EXPECT_TRUE(result < 0 || path == "/dev/full"s || stored(path) == text) << path;
    }
    EXPECT_EQ(debugLinesOf([] { filePutContents("put/1/text", "a"); }),
              "systemEx: 0.0.[/bin/mkdir -p put/1]\n");
    EXPECT_EQ(debugLinesOf([] { filePutContents("files_test", "a"), filePutContents("/tmp", "a"); }), "");
    const int reader = open(kFifo, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    char buffer[] = "######";
    EXPECT_TRUE(filePutContentsBin(kFifo, "a\0b", 3) == 1 && fileGetByteContents(buffer, 5, kFifo) == 3);
    EXPECT_EQ(std::string(buffer, 6), "a\0b\0\0#"s);
    EXPECT_EQ(filePutContentsBin(kFifo, kBig.data(), kBig.size()), 0) << "more than a pipe holds";
    fcntl(reader, F_SETFL, 0);
    std::string rest(kBig.size(), '\0');
    for (int left = 0; ioctl(reader, FIONREAD, &left) == 0 && left > 0;) {
        (void)!::read(reader, rest.data(), 1000);
    }
    std::thread writer(
        [] { EXPECT_EQ(filePutContentsBin(kFifo, kBig.data(), kBig.size()), 1) << "signals do not matter"; });
    for (int held = 0; held < 65536;) { ioctl(reader, FIONREAD, &held); }
    interrupt(writer.native_handle(), 20);
    for (size_t got = 0; got < kBig.size();) {
        got += static_cast<size_t>(::read(reader, rest.data(), rest.size()));
    }
    writer.join();
    close(reader);
    EXPECT_TRUE(filePutContents(nullptr, "text") == -1 && filePutContents(kPath, kNull) == -1);
    EXPECT_TRUE(filePutContentsBin(nullptr, "", 0) == -1 && filePutContentsBin(kPath, nullptr, 0) == -1);
}

TEST(Files, TextIsEditedInPlace) {
    const std::tuple<unsigned, int, int, const char*, std::string, std::string, std::string> cases[] = {
        {MODIFY_REPLACE, 0, 0, "key=", "key=2\n", "a=1\nkey=1\nb=3", "a=1\nkey=2\nb=3"},
        {MODIFY_REPLACE, 0, 1, "a", "X\n", "ba\nold\nc\na\n", "ba\nX\nc\na\n"},
        {MODIFY_REPLACE, 0, 0, "c", "X", "a\nbcd", "a\nbX"},
        {MODIFY_REPLACE, 1, 1, "b", "X", "a\nbcd\nef\ng", "a\nbcd\neXg"},
        {MODIFY_INSERT, 0, 1, "[sec]", "x=1\n", "[sec]\ny=2\n", "[sec]\nx=1\ny=2\n"},
        {MODIFY_INSERT, 7, -1, "", kBig, "abc\nd", kBig + "abc\nd"},
        {MODIFY_REPLACE, 0, 2, "b", kBig, "abc\nd", "abc\nd" + kBig},
        {MODIFY_INSERT, 1, 1, "\n", "X", "\nend", "\nendX"},
        {MODIFY_INSERT, 0, 0, "b", "X", "ab\0cd"s, "aXb"},
        {MODIFY_DELETE_TO, 0, 0, "BEGIN", "END", "BEGIN\n1\n2\nEND\n", "BEGIN\nEND\n"},
        {MODIFY_DELETE_TO, 1, 9, "BEGIN", "\nEND", "BEGIN\nEND 1\nEND", "BEGIN\n\nEND"},
        {MODIFY_DELETE_TO, 0, 0, "BEGIN", "END", "END\nBEGIN\n", "END\nBEGIN\n"},
        {MODIFY_DELETE_TO, 0, 0, nullptr, "END", "a\nEND\n", "a\nEND\n"}};
    store("");
    ASSERT_EQ(link(kPath, "/tmp/files_link"), 0);
    for (const auto& [mode, direction, lines, needle, text, before, after] : cases) {
        store(before);
        EXPECT_EQ(modifyTextFile(kPath, needle, text.c_str(), mode, direction, lines), 0);
        EXPECT_TRUE(stored("/tmp/files_link") == after) << before << " became " << stored().substr(0, 99);
    }
    unlink("/tmp/files_link");
}

TEST(Files, RefusedEditsAreReported) {
    // clang-format off
    const std::tuple<const char*, const char*, const char*, unsigned, int, const char*> cases[] = {
        {nullptr, "a", "X", 1, -1, ""}, {kPath, "a", nullptr, 2, -1, ""}, {kPath, nullptr, "X", 1, -2, ""},
        {kPath, nullptr, "X", 2, -2, ""}, {kPath, nullptr, "X", 3, -1, ""}, {kPath, "a", "X", 3, -1, ""},
        {kPath, "A", "X", 2, -1, "310 Couldn't find [A] in /tmp/files_test\n"},
        {"/nowhere", "a", "X", 3, -3, "310 Couldn't open /nowhere\n"},
        {"/tmp", "a", "X", 1, -3, "310 Couldn't open /tmp\n"}};
    // clang-format on
    store("a\0b"s);
    for (const auto& [path, needle, text, mode, result, log] : cases) {
        logged.clear();
        EXPECT_EQ(modifyTextFile(path, needle, text, mode, 0, 0), result) << mode;
        EXPECT_TRUE(stored() == "a\0b"s && logged == log) << logged;
    }
    const auto replace = [] { modifyTextFile(kPath, "%s", "%d", MODIFY_REPLACE, 0, 0); };
    EXPECT_EQ(
        debugLinesOf(replace),
        "Looking for [%s] in [/tmp/files_test] modifying with [%d]\nCouldn't find [%s] in /tmp/files_test\n");
    const auto erase = [] { modifyTextFile(kPath, nullptr, "", MODIFY_DELETE_TO, 0, 0); };
    EXPECT_EQ(debugLinesOf(erase),
              "Looking for [(null)] in [/tmp/files_test] modifying with []\nsystemEx: 0.0.[/bin/sync > "
              "/dev/null]\n");
}

TEST(Files, CancelledEditIsWhole) {
    store("old");
    CancellableThread editing([] {
        t_beforeRead = [] { return pthread_cancel(pthread_self()) == 0; };
        modifyTextFile(kPath, "old", "new", MODIFY_REPLACE, 0, 0);
    });
    EXPECT_FALSE(editing.join());
    EXPECT_EQ(stored(), "new");
}

TEST(Files, FailedCallsLeaveResultAndFile) {
    char* result = nullptr;
    store("\na");
    EXPECT_TRUE(invertStringBuffer(nullptr, &result) == -1 && invertStringBuffer("\n", nullptr) == -1);
    EXPECT_TRUE(invertFile(nullptr, 9, &result) == -1 && invertFile(kPath, 9, nullptr) == -1);
    if (kHeapRefuses) {
        EXPECT_EQ(withHeapGrants(0, [&] { return invertStringBuffer("\n", &result); }), -1);
        EXPECT_EQ(withHeapGrants(0, [&] { return invertFile(kPath, 9, &result); }), -1);
        EXPECT_EQ(withHeapGrants(0, [] { return fileGetContents(kPath, nullptr); }), nullptr);
        EXPECT_EQ(withHeapGrants(0, [] { return filePutContents(kPath, "%s", "text"); }), 0);
        EXPECT_EQ(withHeapGrants(0, [] { return modifyTextFile(kPath, "a", "X", MODIFY_INSERT, 0, 0); }), -3);
    }
    t_beforeRead = [] { return false; };
    EXPECT_EQ(modifyTextFile(kPath, nullptr, "X", MODIFY_DELETE_TO, 0, 0), -3);
    t_beforeRead = nullptr;
    EXPECT_TRUE(result == nullptr && stored() == "\na");
}

}  // namespace
