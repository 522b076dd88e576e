#include <ktcommon.h>
#include <unistd.h>

static int greet(char* args, char** reply) {
    sprintf_x(reply, "hello, %s\n", args == NULL ? "whoever you are" : args);
    return 0;
}

static CmdEntry commands[] = {{"greet", greet}, {NULL, NULL}};

int main(int argc, char** argv) {
    InitSigHandlers();
    _debugSetOptions(argc > 1 ? argv[1] : "", NULL);
    pthread_create(&g_threadIdDebugListener, NULL, debugCommand_t, commands);
    for (int round = 1;; ++round) {
        __debug(__LINE__, "round %d\n", round);
        sleep(1);
    }
}
