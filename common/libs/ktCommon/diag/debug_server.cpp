#include "diag/debug_server.h"

#include <semaphore.h>
#include <strings.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "diag/debug.h"
#include "frame/process.h"
#include "internal/component_ids.h"
#include "internal/descriptor.h"
#include "internal/error_text.h"
#include "internal/heap_text.h"
#include "internal/mutex_lock.h"
#include "internal/server_end.h"
#include "internal/signal_stack.h"
#include "internal/timed_socket.h"
#include "internal/uncancelled.h"
#include "logging.h"
#include "sockets.h"
#include "sys/capture.h"
#include "tags.h"
#include "text/growable.h"
#include "time/timestamp.h"

int g_hDebugServer;
pthread_t g_threadIdDebugListener;
int g_cleanExitRequest;

static_assert(offsetof(CmdEntry, handler) == sizeof(char*));
static_assert(sizeof(CmdEntry) == 2 * sizeof(char*));
static_assert(sizeof(void*) != 4 || sizeof(CmdEntry) == 8);

namespace {

constexpr int kNoTable = -101;
constexpr int kNoCommand = -102;
constexpr int kNotDefined = -103;
constexpr int kMissingArgument = -1;

constexpr size_t kProcessNameSize = 256;
constexpr size_t kCommandSize = 256;
constexpr size_t kCapturedOutputSize = 10240;
constexpr size_t kPeerRecordSize = 40;
constexpr size_t kErrorTextSize = 128;
constexpr std::chrono::seconds kClientLimit{3};

std::atomic<time_t> processStart;

// The tear-down sets the flag and then looks for a socket to shut down; the server publishes its socket and
// then looks at the flag. Sequentially consistent, so that at least one of them sees the other.
bool isTearingDown() {
    return __atomic_load_n(&g_cleanExitRequest, __ATOMIC_SEQ_CST) != 0;
}

// While it lives its thread is the server's.
class ServerPresence {
  public:
    ServerPresence() { server_ = pthread_self(); }
    ~ServerPresence() {
        server_ = 0;
        sem_post(&gone_);
    }
    ServerPresence(const ServerPresence&) = delete;
    ServerPresence& operator=(const ServerPresence&) = delete;

    static bool isOf(pthread_t thread) { return server_ != 0 && pthread_equal(server_, thread) != 0; }

    static void leave() {
        hasLeft_ = true;
        pthread_detach(pthread_self());
        sem_post(&gone_);
    }

    static bool awaitEnd() {
        while (sem_wait(&gone_) != 0) {}  // interrupted
        return !hasLeft_;
    }

  private:
    static inline std::atomic<pthread_t> server_;
    static inline std::atomic<bool> hasLeft_;
    static inline sem_t gone_;  // all zero is a semaphore of this process, at 0
};

// The listening socket with what tells it from any other descriptor of the same number: the safety net for a
// tear-down that closes it although it should not, and another thread that has got the number since.
class Listener {
  public:
    explicit Listener(int handle) : handle_(handle) {
        identified_ = fstat(handle_, &identity_) == 0;
        publish(handle_);
        const kt::MutexLock lock(presentLock_);
        present_ = this;
    }
    ~Listener() {
        const kt::MutexLock lock(presentLock_);
        present_ = nullptr;
        if (isOurs()) {
            kt::closeUncancelled(handle_);
        }
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    static void shutDown() {
        const kt::MutexLock lock(presentLock_);
        if (present_ != nullptr && present_->isOurs()) {
            shutdown(present_->handle_, SHUT_RDWR);
        }
    }

    static void publish(int handle) { __atomic_store_n(&g_hDebugServer, handle, __ATOMIC_SEQ_CST); }

    // A connected socket, or what ended the waiting (-1: the listener failed or was closed).
    int waitForClient() { return isOurs() ? simpleListener(handle_, peer_) : -1; }

  private:
    // A handle that is no descriptor (a socket library's own kind) cannot be told apart and counts as ours.
    bool isOurs() const {
        struct stat now;
        return !identified_ || (fstat(handle_, &now) == 0 && now.st_dev == identity_.st_dev &&
                                now.st_ino == identity_.st_ino);
    }

    static inline pthread_mutex_t presentLock_ = PTHREAD_MUTEX_INITIALIZER;
    static inline Listener* present_;

    int handle_;
    bool identified_ = false;
    struct stat identity_ = {};
    char peer_[kPeerRecordSize] = {};
};

struct Command {
    const char* word;
    char* args;
};

// Ends the word at the first blank.
Command split(char* text) {
    char* blank = strchr(text, ' ');
    if (blank == nullptr) {
        return {text, nullptr};
    }
    *blank = '\0';
    return {text, blank + 1};
}

bool isEmpty(const char* reply) {
    return reply == nullptr || *reply == '\0';
}

int appendDaemonHelp(const CmdEntry* table, const Command& command, char** reply) {
    char* more = nullptr;
    const int code = cmdIntParseCommand(table, command.word, command.args, &more);
    const kt::HeapText owned(more);
    if (!isEmpty(more)) {
        strcat_x(reply, "%s", more);
    }
    return code;
}

int dispatch(const CmdEntry* table, const Command& command, char** reply) {
    const int code = cmdIntParseCommand(cmdTableCommon, command.word, command.args, reply);
    if (table == nullptr) {
        return code;
    }
    if (code == kNotDefined) {
        return cmdIntParseCommand(table, command.word, command.args, reply);
    }
    return strcmp(command.word, "?") == 0 ? appendDaemonHelp(table, command, reply) : code;
}

kt::HeapText replyTo(const CmdEntry* table, char* text) {
    const Command command = split(text);
    char* reply = nullptr;
    const int code = dispatch(table, command, &reply);
    if (!isEmpty(reply)) {
        return kt::HeapText(reply);
    }
    free(reply);
    return code == kNotDefined ? kt::formatted("Command '%s' not defined. Use '?' for Help\n", command.word)
                               : kt::formatted("Command '%s' executed, rc %d\n", command.word, code);
}

void serve(int client, const CmdEntry* table) {
    char text[kCommandSize + 1];
    const ssize_t received = kt::receiveOnce(client, text, kCommandSize, kClientLimit, isTearingDown);
    if (received <= 0) {
        return;
    }
    text[received] = '\0';
    const kt::HeapText reply = replyTo(table, text);
    if (reply != nullptr) {
        kt::sendAll(client, reply.get(), strlen(reply.get()) + 1, kClientLimit, isTearingDown);
    }
    kt::discardReceived(client);
}

void serveClients(Listener& listener, const CmdEntry* table) {
    // A tear-down that came before the socket was published has shut nothing down.
    int client = isTearingDown() ? -1 : listener.waitForClient();
    for (; client >= 1; client = listener.waitForClient()) {
        serve(client, table);
        xmlClose(client);
    }
    if (client == -1 && isTearingDown()) {
        return;
    }
    Listener::publish(0);
    logError(kt::component::kDebugServer, "Cannot allocate socket': debugCmd: %d", client);
    __debug(__LINE__, "debugCmd: can't get socket: %d\n", client);
}

void runServer(const CmdEntry* table) {
    char name[kProcessNameSize];
    getProcessName(getpid(), name, sizeof name);
    const int port = socketGetDebugPortByName(name);
    if (port < 0) {
        __debug(__LINE__, "%s isn't available for debug commands\n", name);
        return;
    }
    const int handle = simpleBind(port);
    if (handle < 0) {
        const kt::ErrorText<kErrorTextSize> cause(errno);
        logError(kt::component::kDebugServer, "debugCommand: Couldn't start listener for %s on port %d. '%s'",
                 name, port, cause.get());
        Listener::publish(0);
        return;
    }
    processStart = time(nullptr);
    Listener listener(handle);
    serveClients(listener, table);
}

}  // namespace

const CmdEntry cmdTableCommon[8] = {
    {"et", _ccmd_showET}, {"rpc", _ccmd_doRPC}, {"tag", _ccmd_getTag}, {"debug", _ccmd_setDebug},
    {"exit", _ccmd_exit}, {"help", _ccmd_help}, {"?", _ccmd_help},     {nullptr, nullptr},
};

void* debugCommand_t(void* commands) {
    const kt::Uncancelled uncancelled;
    const kt::SignalStack signalStack;
    const ServerPresence presence;
    runServer(static_cast<const CmdEntry*>(commands));
    return nullptr;
}

int cmdIntParseCommand(const CmdEntry* table, const char* command, char* args, char** reply) {
    if (table == nullptr) {
        return kNoTable;
    }
    if (command == nullptr) {
        return kNoCommand;
    }
    for (const CmdEntry* entry = table; entry->command != nullptr; ++entry) {
        if (strcasecmp(command, entry->command) == 0) {
            return entry->handler(args, reply);
        }
    }
    return kNotDefined;
}

int _ccmd_showET(char*, char** reply) {
    const kt::HeapText elapsed(formatET(static_cast<int>(time(nullptr) - processStart), 1));
    sprintf_x(reply, "Process has been running for %s\n", kt::textOf(elapsed));
    return 0;
}

int _ccmd_doRPC(char* args, char** reply) {
    if (args == nullptr) {
        sprintf_x(reply, "No command specified\n");
        return kMissingArgument;
    }
    char output[kCapturedOutputSize];
    systemBufferEcho(args, nullptr, output, sizeof output);
    const kt::HeapText rule(strfill('-', strlen(args) + 2));
    sprintf_x(reply, "%s\n%s\n%s", args, kt::textOf(rule), output);
    return 0;
}

int _ccmd_getTag(char* args, char** reply) {
    if (args == nullptr) {
        sprintf_x(reply, "Must specify tag to read by name\n");
        return kMissingArgument;
    }
    const kt::HeapText value(getTagValueByName(nullptr, nullptr, args, 0));
    sprintf_x(reply, "Tag [%s] = [%s]\n", args, kt::textOf(value));
    return 0;
}

int _ccmd_setDebug(char* args, char** reply) {
    if (args == nullptr) {
        sprintf_x(reply, "No command specified\n");
        return kMissingArgument;
    }
    _debugSetOptions(args, nullptr);
    sprintf_x(reply, "set debug options '%s'\n", args);
    return 0;
}

bool kt::isServerThread(pthread_t thread) {
    return ServerPresence::isOf(thread);
}

void kt::leaveServer() {
    ServerPresence::leave();
}

void kt::shutDownServer() {
    Listener::shutDown();
}

bool kt::awaitServerEnd() {
    return ServerPresence::awaitEnd();
}

int _ccmd_exit(char*, char**) {
    printf("\n*** Exiting by request\n\n");
    if (ServerPresence::isOf(pthread_self())) {
        if (isTearingDown()) {
            pthread_exit(nullptr);  // somebody is about it, and waits for this thread
        }
        ServerPresence::leave();
    }
    exit(1);
}

int _ccmd_help(char*, char** reply) {
    sprintf_x(reply, "Global commands\n");
    for (const CmdEntry* entry = cmdTableCommon; entry->command != nullptr; ++entry) {
        strcat_x(reply, "  %s\n", entry->command);
    }
    return 0;
}
