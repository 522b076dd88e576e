// Runs in the virtual unit: it writes to the gateway's data and log directories.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "logging.h"
#include "sockets.h"

// Replaces the library's weak path: the logs of this program must appear here.
extern const char LOG_PATH[] = "/var/lognv/kt/siblings";

namespace {

const std::string DATA = "/usr/local/data/";

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path);
    file << text;
    ASSERT_TRUE(file.flush()) << path;
}

std::string logFile(const char* name) {
    return std::string(LOG_PATH) + "/" + name;
}

std::string readFile(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class Siblings : public testing::Test {
  protected:
    void SetUp() override {
        std::array<char, 64> host{};
        gethostname(host.data(), host.size() - 1);
        if (std::string(host.data()) != "gateway") {
            GTEST_FAIL() << "not in the virtual unit";
        }
        mkdir("/var/lognv/kt", 0755);
        mkdir(LOG_PATH, 0755);
        for (const char* name : {"error", "engineering", "reboot", "stacktrace"}) {
            unlink(logFile(name).c_str());
        }
        unlink((DATA + "ports.txt").c_str());
    }
};

using Logging = Siblings;
using Tables = Siblings;
using Sockets = Siblings;

TEST_F(Logging, EntriesAreOneLineEach) {
    logError(310, "Couldn't open %s", "/a\nb");
    logReboot(310, "100% by request");
    logStackTrace("two\nlines");
    EXPECT_EQ(readFile(logFile("error")).substr(19), " 310 Couldn't open /a b\n");
    EXPECT_EQ(readFile(logFile("reboot")).substr(19), " 310 100% by request\n");
    EXPECT_EQ(readFile(logFile("stacktrace")), "two\nlines");
}

TEST_F(Tables, PortsAreFoundByWholeKeyAndChecked) {
    EXPECT_EQ(socketGetDebugPortByName("gwdemo"), -1);
    writeFile(DATA + "ports.txt",
              "# gwdemo 1\n\n  gwdemo2\t5002  \r\ngwdemo 5001 first\ngwdemo 9999\nzero 0\nbig 65536\n"
              "text port\nglued 80x\nbare\nlast 65535");
    const std::pair<const char*, int> cases[] = {
        {"gwdemo", 5001}, {"gwdemo2", 5002}, {"last", 65535}, {"zero", -1}, {"big", -1},    {"text", -1},
        {"glued", -1},    {"bare", -1},      {"#", -1},       {"", -1},     {"GWDEMO", -1}, {"none", -1}};
    for (const auto& [name, port] : cases) {
        EXPECT_EQ(socketGetDebugPortByName(name), port) << name;
    }
    EXPECT_EQ(socketGetDebugPortByName(nullptr), -1);
}

int portOf(int handle) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(handle, reinterpret_cast<sockaddr*>(&address), &length);
    EXPECT_EQ(ntohl(address.sin_addr.s_addr), INADDR_LOOPBACK);
    return ntohs(address.sin_port);
}

// A listener that component 365 is to be reached at.
int listenAs365() {
    const int handle = simpleBind(0);
    EXPECT_GE(handle, 3);
    writeFile(DATA + "ports.txt", "365 " + std::to_string(portOf(handle)) + "\n");
    return handle;
}

bool isCloseOnExec(int handle) {
    return (fcntl(handle, F_GETFD) & FD_CLOEXEC) != 0;
}

TEST_F(Sockets, ReplyEndsOrderlyThoughPartOfTheRequestStaysUnread) {
    const int listener = listenAs365();
    const int writer = socketOpenWriter(365, 365, 0);
    ASSERT_GE(writer, 3);
    const std::string request(300, 'q');
    ASSERT_EQ(send(writer, request.data(), request.size(), MSG_NOSIGNAL), 300);

    std::array<unsigned char, SOCKET_PEER_RECORD_SIZE + 1> record{};
    record.fill(0xEE);
    const int client = simpleListener(listener, record.data());
    ASSERT_GE(client, 3);
    sockaddr_in peer{};
    memcpy(&peer, record.data(), sizeof peer);
    EXPECT_EQ(peer.sin_family, AF_INET);
    EXPECT_EQ(ntohs(peer.sin_port), portOf(writer));
    EXPECT_EQ(record.back(), 0xEE);
    EXPECT_TRUE(isCloseOnExec(listener) && isCloseOnExec(writer) && isCloseOnExec(client));

    std::array<char, 256> received{};
    EXPECT_EQ(recv(client, received.data(), received.size(), MSG_WAITALL), 256);
    EXPECT_EQ(send(client, "reply", 6, MSG_NOSIGNAL), 6);
    EXPECT_EQ(xmlClose(client), 0);
    EXPECT_EQ(recv(writer, received.data(), 6, MSG_WAITALL), 6);
    EXPECT_STREQ(received.data(), "reply");
    EXPECT_EQ(recv(writer, received.data(), received.size(), 0), 0) << strerror(errno);

    EXPECT_EQ(socketCloseWriter(writer), 0);
    EXPECT_EQ(socketCloseWriter(writer), -1);
    EXPECT_EQ(errno, EBADF);
    close(listener);
}

}  // namespace
