// Runs in the virtual unit, on its memory, ports and links. The program's own ioctl is the keys' device.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sockets.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <climits>
#include <cstdarg>
#include <future>

#include "support/cancellable_thread.h"
#include "support/files.h"
#include "support/forked_child.h"
#include "support/stdout_capture.h"

// Of the keys 0, 9 and 767 the bits are set, unless the device fails.
extern "C" KT_API int ioctl(int fd, unsigned long request, ...) noexcept {
    EXPECT_EQ(request, 0x80604518U);
    va_list ap;
    va_start(ap, request);
    auto* keys = va_arg(ap, unsigned char*);
    va_end(ap);
    if (fd < 0) { return -1; }
    keys[0] = 1;
    keys[1] = 2;
    keys[95] = 0x80;
    return 96;
}

namespace {

using namespace kt::test;
using namespace std::string_literals;

TEST(Hardware, NothingIsTouchedWithoutMemory) {
    const auto use = [] {
        setvbuf(stderr, nullptr, _IONBF, 0);
        void* reg = &reg;
        return memmapGetl(4) == 0 && memmapPutl(4, 1) == 0 && memmapGetw(4) == 0 && memmapPutw(4, 1) == 0 &&
               memmapInit(4, &reg) == nullptr && reg == &reg;
    };
    rename("/dev/mem", "/dev/memory");
    const std::string complaints = printedBy([&] { EXPECT_EQ(inChild(use), 1); }, stderr);
    rename("/dev/memory", "/dev/mem");
    const std::string failed = "mmap(): Bad file descriptor\n";
    EXPECT_EQ(complaints,
              "open(\"/dev/mem\"): No such file or directory\n" + failed + failed + failed + failed);
}

TEST(Hardware, RegistersAreReachedByPhysicalAddress) {
    const int memory = open("/dev/mem", O_RDWR | O_CLOEXEC);
    for (const unsigned page : {0x1000U, 0x7FFFF000U, 0x80000000U, 0xFFFFE000U}) {
        EXPECT_EQ(pwrite64(memory, "\x11\x22\x33\x44\x55\x66\x77\x88", 8, page + 4092), 8);
        EXPECT_TRUE(memmapGetw(page + 4094) == 0x4433 && memmapGetl(page + 4092) == 0x44332211);
        EXPECT_EQ(memmapGetl(page + 4096), 0x88776655U);
        EXPECT_EQ(memmapPutw(page + 4094, 0xABCD) + memmapPutl(page + 4096, 0xFEDCBA98), 0);
        EXPECT_EQ(memmapPutw(page + 4095, 0xFFFF) + memmapPutl(page + 4094, 0xFFFFFFFF), 0)
            << "between registers";
        EXPECT_EQ(memmapGetw(page + 4093) + memmapGetl(page + 4094), 0U);
        char bytes[9] = "";
        EXPECT_EQ(pread64(memory, bytes, 8, page + 4092), 8);
        EXPECT_STREQ(bytes, "\x11\x22\xCD\xAB\x98\xBA\xDC\xFE");
        void* reg = nullptr;
        void* base = memmapInit(page + 4092, &reg);
        EXPECT_TRUE(reg == static_cast<char*>(base) + 4092 && munmap(base, 4096) == 0);
    }
    close(memory);
}

TEST(Hardware, KeysAreInverseAndLinksAreNot) {
    const std::pair<int, int> keys[] = {{0, 0},   {1, 1},   {9, 0},  {8, 1},       {766, 1},
                                        {767, 0}, {768, 1}, {-1, 1}, {INT_MIN, 1}, {INT_MAX, 1}};
    for (const auto& [key, expected] : keys) { EXPECT_EQ(isKeyPressed(42, key), expected) << key; }
    EXPECT_EQ(isKeyPressed(-1, 9), 1);
    int first = 7, second = 7;
    setContents("/sys/class/net/eth1/carrier", "0");
    EXPECT_TRUE(chkLinkState(&first, &second) == 0 && first == 1 && second == 0);
    EXPECT_TRUE(chkLinkState(&second, &first) == 0 && first == 0 && second == 1);
}

std::string serialReply() {
    char* reply = _getSerialThreadValue("ports %s");
    std::string text = reply == nullptr ? "null" : reply;
    free(reply);
    return text;
}

TEST(Hardware, RepliesOfTheSerialPorts) {
    EXPECT_EQ(_getSerialThreadValue(nullptr), nullptr);
    EXPECT_EQ(allPrintedBy([] { EXPECT_EQ(serialReply(), "null"); }),
              "_getSerialThreadValue, socketOpenWriter FAILED.\n");
    const int listener = simpleBind(socketGetDebugPortByName("334"));
    const std::string piece(128, 'a');
    const std::pair<std::string, std::string> replies[] = {
        {"", "null"},
        {"\0"s, ""},
        {"%n%s\0rest"s, "%n%s"},
        {piece + piece + piece, piece + piece + piece},
        {piece + "b" + std::string(127, '\0') + "c", piece + "bc"}};
    char request[16];
    for (const auto& [sent, expected] : replies) {
        auto reply = std::async(std::launch::async, serialReply);
        const int client = simpleListener(listener, nullptr);
        EXPECT_EQ(std::string(request, recv(client, request, sizeof request, 0)), "ports %s");
        send(client, sent.data(), sent.size(), MSG_NOSIGNAL);
        xmlClose(client);
        EXPECT_EQ(reply.get(), expected);
    }
    CancellableThread waiting(serialReply);
    const int client = simpleListener(listener, nullptr);
    waiting.cancel();
    EXPECT_FALSE(waiting.join());
    while (recv(client, request, sizeof request, 0) > 0) {}  // ends, since the thread has closed its side
    xmlClose(client);
    close(listener);
}

}  // namespace
