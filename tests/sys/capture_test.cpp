// Runs in the virtual unit, where /tmp is its own.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <random>

#include "support/cancellable_thread.h"
#include "support/files.h"
#include "support/forked_child.h"
#include "support/stdout_capture.h"

namespace {

using namespace std::string_literals;

std::string collected(const char* command, size_t size) {
    std::string output(size + 1, '#');
    const int length = systemBufferEcho(command, nullptr, output.data(), size);
    EXPECT_EQ(output[size], '#') << "written past the end";
    output.resize(strnlen(output.data(), size));
    EXPECT_EQ(length, output.size());
    return output;
}

// The rule in the C library's own words: each piece that fgets gives before the end is appended if it fits.
std::string collectedLiterally(const char* command, size_t size) {
    std::string output;
    char piece[1024];
    FILE* stream = popen(command, "re");
    while (fgets(piece, sizeof piece, stream) != nullptr) {
        if (feof(stream) == 0 && output.size() + strlen(piece) < size) { output += piece; }
    }
    pclose(stream);
    return output;
}

TEST(Capture, CommandLineAndItsArgument) {
    const std::tuple<decltype(&systemBufferEcho), const char*, const char*, const char*> cases[] = {
        {systemBufferEcho, "/bin/echo", "a  b", "a  b\n"},
        {systemBufferEcho, "/bin/echo", "", "\n"},
        {systemBufferEcho, "/bin/echo 1%d", "%s%n", "1%d %s%n\n"},
        {systemBufferEcho, "printf '<%s>\\n'", "a\" \"b", "<a>\n<b>\n"},
        {systemBufferEcho, "/bin/echo out; exit", "3", "out\n"},
        {systemBufferEcho, "/no/such/command 2>/dev/null", nullptr, ""},
        {systemBufferEcho, "printf 'some\\ntoo many bytes\\nfive\\nno end'", nullptr, "some\nfive\n"},
        {systemBufferEcho, "printf '123456789abcdef\\n123456789abcde\\n'", nullptr, "123456789abcde\n"},
        {systemBufferEcho, "printf 'ab\\0cd\\nef\\n'", nullptr, "abef\n"},
        {sysBuffEcho_alt, "/bin/echo", nullptr, "\n"},
        {sysBuffEcho_alt, "/bin/echo", "a  b | tr ab cd", "c d\n"}};
    for (const auto& [function, command, argument, expected] : cases) {
        char output[16] = "before";
        EXPECT_EQ(function(command, argument, output, sizeof output), strlen(expected)) << command;
        EXPECT_STREQ(output, expected) << command;
    }
}

TEST(Capture, SameAsTheLiteralRule) {
    std::mt19937 random(20260203);
    const auto pick = [&](const std::vector<size_t>& values) { return values[random() % values.size()]; };
    for (int run = 0; run < 60; ++run) {
        std::string printed;
        for (size_t line = pick({0, 1, 3, 7}); line > 0; --line) {
            printed.append(pick({0, 1, 9, 500, 1021, 1022, 1023, 1024, 2046, 2047, 4000, 70000}), 'a');
            printed += pick({0, 1, 2}) == 0 ? "\0x\n"s : "\n"s;
        }
        printed += std::string(pick({0, 0, 1, 1022, 1023, 1024, 2046}), 'z');
        const size_t size = pick({1, 2, 12, 512, 1023, 1024, 1025, 2048, 20000, 300000});
        const char* command = "cat /tmp/bytes";
        kt::test::setContents("/tmp/bytes", printed);
        ASSERT_TRUE(collected(command, size) == collectedLiterally(command, size)) << run << " in " << size;
    }
}

TEST(Capture, FailuresAreTold) {
    for (const auto function : {systemBufferEcho, sysBuffEcho_alt}) {
        char output[] = "before";
        EXPECT_TRUE(function(nullptr, "a", nullptr, 0) == -1 && function("echo", "a", nullptr, 7) == -2);
        EXPECT_TRUE(function("echo", "a", output, 0) == 0 && output == "before"s);
        const auto withoutDescriptors = [&] {
            const rlimit none{};
            setrlimit(RLIMIT_NOFILE, &none);
            return function("echo", "a", output, sizeof output) == -3 && *output == '\0';
        };
        EXPECT_EQ(kt::test::inChild(withoutDescriptors), 1);
    }
}

TEST(Capture, DescriptorsAreNeitherInheritedNorLeftBehind) {
    const auto inherited = [] { return kt::test::printedBy([] { (void)!system("ls /proc/self/fd"); }); };
    const std::string before = inherited();
    const int lowestFree = dup(0);
    close(lowestFree);
    ASSERT_EQ(mkfifo("/tmp/fifo", 0600), 0);
    kt::test::CancellableThread capturing([] { collected("cat /tmp/fifo", 16); });
    const int writer = open("/tmp/fifo", O_WRONLY | O_CLOEXEC);  // waits until the command runs
    EXPECT_EQ(inherited(), before);
    capturing.cancel();
    close(writer);
    EXPECT_FALSE(capturing.join());
    EXPECT_EQ(dup(0), lowestFree);
    close(lowestFree);
    unlink("/tmp/fifo");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "the command was not waited for";
}

}  // namespace
