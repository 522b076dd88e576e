// A sample daemon: debug options from the command line, a debug command port with three commands of its own, fault
// reports, and one debug line a second until it is asked to end.
#include <ktcommon.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

// Shows what a daemon leaves behind when it dies. Only functions of external linkage have names in its report.
int dieOfFault(char* /*args*/, char** /*reply*/) {
    testSigFault();
}

namespace {

std::atomic<bool> ending;
std::atomic<int> ticks;

int showTicks(char* /*args*/, char** reply) {
    sprintf_x(reply, "%d ticks so far\n", ticks.load());
    return 0;
}

// Leaves the reply empty, so the client is told the code.
int resetTicks(char* /*args*/, char** /*reply*/) {
    ticks = 0;
    return 5;
}

int listCommands(char* /*args*/, char** reply) {
    sprintf_x(reply, "gwdemo commands\n  ticks\n  reset\n  fault\n");
    return 0;
}

CmdEntry commands[] = {
    {"ticks", showTicks}, {"reset", resetTicks}, {"fault", dieOfFault},
    {"?", listCommands},  {nullptr, nullptr},
};

void stopDebugPort() {
    __atomic_store_n(&g_cleanExitRequest, 1, __ATOMIC_SEQ_CST);
    const int socket = __atomic_load_n(&g_hDebugServer, __ATOMIC_SEQ_CST);
    if (socket != 0) {
        shutdown(socket, SHUT_RDWR);  // wakes the port's thread, which closes it
    }
    pthread_join(g_threadIdDebugListener, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
    signal(SIGTERM, [](int) { ending = true; });
    signal(SIGINT, [](int) { ending = true; });
    InitSigHandlers();
    if (argc > 1) {
        _debugSetOptions(argv[1], nullptr);
    }
    if (pthread_create(&g_threadIdDebugListener, nullptr, debugCommand_t, commands) != 0) {
        return 1;
    }
    while (!ending) {
        __debug(__LINE__, "tick %d\n", ++ticks);
        sleep(1);
    }
    stopDebugPort();
    __debug(__LINE__, "gwdemo exit\n");
    return 0;
}
