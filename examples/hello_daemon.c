#include <ktcommon.h>
#include <stdatomic.h>

static atomic_int ending;

static void end(void) {
    ending = 1;
}

static int greet(char* args, char** reply) {
    sprintf_x(reply, "hello, %s\n", args == NULL ? "whoever you are" : args);
    return 0;
}

static CmdEntry commands[] = {{"greet", greet}, {NULL, NULL}};

int main(int argc, char** argv) {
    _debugSetOptions(argc > 1 ? argv[1] : NULL, NULL);
    libraryInit(commands);
    if (g_threadIdDebugListener == 0) {
        return libraryDeinit(); /* another one runs */
    }
    initShutdownMonitor("hello_daemon", end);
    for (int round = 1; !ending; ++round) {
        __debug(__LINE__, "round %d\n", round);
        sleep_s(1);
    }
    return libraryDeinit();
}
