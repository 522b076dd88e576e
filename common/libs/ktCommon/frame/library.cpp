#include "frame/library.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

#include "diag/BackTrace.h"
#include "diag/debug.h"
#include "diag/debug_server.h"
#include "frame/process.h"
#include "frame/product.h"
#include "internal/server_end.h"
#include "internal/uncancelled.h"
#include "messaging.h"
#include "sync/event.h"
#include "sync/sleep.h"

namespace {

constexpr unsigned kPortPauseMicros = 300000;

std::atomic<pid_t> startedBy;  // 0 before the start
std::atomic<pthread_t> tornDownBy;

// The process's own name.
struct OwnName {
    char text[KT_PROCESS_NAME_OVERRIDE_SIZE];

    OwnName() { getProcessName(getpid(), text, sizeof text); }
};

int startDebugPort(void* commands) {
    const int result = pthread_create(&g_threadIdDebugListener, nullptr, debugCommand_t, commands);
    if (result != 0) {
        g_threadIdDebugListener = 0;  // a failed creation may have written it
    }
    return result;
}

// The socket is closed by the thread, which opened it: closing it here as well could hit another thread's.
void stopDebugPort() {
    if (g_threadIdDebugListener == 0) {
        return;
    }
    kt::shutDownServer();
    // Before and after its time as the port's thread it ends by itself.
    if (!kt::isServerThread(g_threadIdDebugListener) || kt::awaitServerEnd()) {
        pthread_join(g_threadIdDebugListener, nullptr);
    }
}

void tearDown() {
    const kt::Uncancelled uncancelled;
    tornDownBy = pthread_self();
    __atomic_store_n(&g_cleanExitRequest, 1, __ATOMIC_SEQ_CST);
    stopDebugPort();
    _msgDrain();
    destroyMutex(&gThreadDataLock);
    __debug(__LINE__, "%s exit\n", OwnName().text);
}

// A forked child has its parent's exit handlers, and the socket, but none of its threads.
bool isForkedChild() {
    return startedBy != 0 && startedBy != getpid();
}

bool isTearingDownHere() {
    return tornDownBy != 0 && pthread_equal(tornDownBy, pthread_self()) != 0;
}

}  // namespace

int libraryInit(void* commands) {
    startedBy = getpid();
    ProductInfo* info;
    getProductInfo(&info);
    InitSigHandlers();
    initMutex(&gThreadDataLock, nullptr, "THREAD_DATA");
    if (checkForMultipleInstances(OwnName().text, nullptr) > 1) {
        return 0;
    }
    const int result = startDebugPort(commands);
    usleep_s(kPortPauseMicros);
    return result;
}

int libraryDeinit(void) {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    if (isForkedChild() || isTearingDownHere()) {
        return 0;
    }
    if (kt::isServerThread(pthread_self())) {
        kt::leaveServer();
    }
    pthread_once(&once, tearDown);
    return 0;
}
