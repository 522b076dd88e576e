#include "frame/library.h"

#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>

#include "diag/BackTrace.h"
#include "diag/debug.h"
#include "diag/debug_server.h"
#include "frame/process.h"
#include "frame/product.h"
#include "internal/server_end.h"
#include "messaging.h"
#include "sync/event.h"
#include "sync/sleep.h"

namespace {

constexpr unsigned kPortPauseMicros = 300000;

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
    const int socket = __atomic_load_n(&g_hDebugServer, __ATOMIC_SEQ_CST);
    if (socket != 0) {
        shutdown(socket, SHUT_RDWR);
    }
    if (pthread_equal(g_threadIdDebugListener, pthread_self()) != 0) {
        pthread_detach(g_threadIdDebugListener);
    } else if (kt::awaitServerEnd()) {
        pthread_join(g_threadIdDebugListener, nullptr);
    }
}

}  // namespace

int libraryInit(void* commands) {
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
    static std::atomic<bool> isDown;
    if (isDown.exchange(true)) {
        return 0;
    }
    __atomic_store_n(&g_cleanExitRequest, 1, __ATOMIC_SEQ_CST);
    stopDebugPort();
    _msgDrain();
    destroyMutex(&gThreadDataLock);
    __debug(__LINE__, "%s exit\n", OwnName().text);
    return 0;
}
