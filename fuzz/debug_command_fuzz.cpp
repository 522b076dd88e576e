// Whatever a client sends to the debug port, one whole reply comes back. Its clients are socket pairs, and its
// shell commands are not run.
#include <semaphore.h>
#include <sockets.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "target.h"

namespace {

sem_t clientIsThere;
int clientsEnd;

int echo(char* args, char** reply) {
    sprintf_x(reply, "[%s]", args == nullptr ? "" : args);
    return 0;
}

CmdEntry commands[] = {{"echo", echo}, {nullptr, nullptr}};

bool startServer() {
    setProcessName("fuzz");
    return sem_init(&clientIsThere, 0, 0) == 0 && freopen("/dev/null", "w", stdout) != nullptr &&
           pthread_create(&g_threadIdDebugListener, nullptr, debugCommand_t, commands) == 0;
}

std::string replyTo(const char* request, size_t size) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    clientsEnd = ends[1];
    require(send(ends[0], request, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size));
    shutdown(ends[0], SHUT_WR);
    sem_post(&clientIsThere);
    std::string reply;
    char piece[4096];
    ssize_t received;
    while ((received = recv(ends[0], piece, sizeof piece, 0)) > 0 || (received < 0 && errno == EINTR)) {
        reply.append(piece, static_cast<size_t>(std::max<ssize_t>(received, 0)));
    }
    close(ends[0]);
    return reply;
}

}  // namespace

int socketGetDebugPortByName(const char*) { return 1; }
int simpleBind(int) { return dup(0); }
int simpleListener(int, void*) {
    while (sem_wait(&clientIsThere) != 0) {}
    return clientsEnd;
}
int systemBufferEcho(const char* command, const char*, char* output, size_t size) {
    return static_cast<int>(std::min(strlcpy(output, command, size), size - 1));
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    const std::string request(text, strnlen(text, std::min<size_t>(size, 256)));
    const std::string command = request.substr(0, request.find(' '));
    if (strcasecmp(command.c_str(), "exit") == 0 || size > 256) { return 0; }
    static const bool isStarted = startServer();
    const std::string reply = replyTo(text, size);
    require(isStarted &&
            (size == 0 ? reply.empty() : reply.find('\0') == reply.size() - 1 && reply.size() > 1));
    if (strcasecmp(command.c_str(), "echo") == 0) {
        require(reply == "[" + request.substr(std::min(request.size(), command.size() + 1)) + "]" + '\0');
    }
    return 0;
}
