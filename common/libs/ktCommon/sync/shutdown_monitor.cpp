#include "sync/shutdown_monitor.h"

#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "diag/debug.h"
#include "internal/heap_text.h"
#include "internal/signal_stack.h"
#include "internal/uninterrupted.h"
#include "text/bounded.h"

static_assert(sizeof(ShutdownMonitorContext::moduleName) == 512);
static_assert(offsetof(ShutdownMonitorContext, onShutdown) == 512);
static_assert(sizeof(ShutdownMonitorContext) == 512 + sizeof(void*));

namespace {

constexpr char kNamePrefix[] = "/ktCleanExit_";
constexpr mode_t kForEverybody = 0666;

using OwnedContext = kt::Owned<ShutdownMonitorContext, free>;

kt::HeapText semaphoreName(const char* moduleName) {
    return kt::formatted("%s%s", kNamePrefix, moduleName);
}

// The semaphore of one monitor; it goes with the monitor, also when that is cancelled in the wait.
class ExitSemaphore {
  public:
    // name: outlives this; null counts as one that cannot be had.
    explicit ExitSemaphore(const char* name) : name_(name) {
        if (name == nullptr) {
            return;
        }
        const bool isNew = sem_unlink(name) == 0 || errno == ENOENT;
        semaphore_ = sem_open(name, O_CREAT, kForEverybody, 0U);
        if (semaphore_ == SEM_FAILED) {
            return;
        }
        if (!isNew) {
            forgetRequests();
        }
        permitEverybody();
    }
    ~ExitSemaphore() {
        if (semaphore_ != SEM_FAILED) {
            sem_close(semaphore_);
            sem_unlink(name_);
        }
    }
    ExitSemaphore(const ExitSemaphore&) = delete;
    ExitSemaphore& operator=(const ExitSemaphore&) = delete;

    explicit operator bool() const { return semaphore_ != SEM_FAILED; }

    // Whether it has been posted.
    bool wait() {
        return kt::uninterrupted([this] { return sem_wait(semaphore_); }) == 0;
    }

  private:
    // The umask has had its say on the new file, and changing it would change it for all threads. The C
    // library keeps its semaphores here; a link that somebody else has put in the place is not followed.
    void permitEverybody() const {
        const kt::HeapText path = kt::formatted("/dev/shm/sem.%s", name_ + 1);
        if (path != nullptr) {
            fchmodat(AT_FDCWD, path.get(), kForEverybody, AT_SYMLINK_NOFOLLOW);
        }
    }

    // Those of now and no others: one that comes from here on is meant for this monitor.
    void forgetRequests() {
        int pending = 0;
        sem_getvalue(semaphore_, &pending);
        while (pending-- > 0 && sem_trywait(semaphore_) == 0) {}
    }

    const char* name_;
    sem_t* semaphore_ = SEM_FAILED;
};

// False without a request: there is no semaphore to wait on.
bool waitForRequest(const char* moduleName) {
    const kt::HeapText name = semaphoreName(moduleName);
    ExitSemaphore semaphore(name.get());
    if (semaphore) {
        return semaphore.wait();
    }
    printf("initShutdownMonitor, failed to acquire semaphore: %s%s\n", kNamePrefix, moduleName);
    fflush(stdout);
    return false;
}

OwnedContext newContext(const char* moduleName, void (*onShutdown)(void)) {
    OwnedContext context(static_cast<ShutdownMonitorContext*>(malloc(sizeof(ShutdownMonitorContext))));
    if (context != nullptr) {
        strlcpy(context->moduleName, moduleName, sizeof context->moduleName);
        context->onShutdown = onShutdown;
    }
    return context;
}

}  // namespace

void* _shutdownMonitorThread(void* context) {
    const OwnedContext monitor(static_cast<ShutdownMonitorContext*>(context));
    const kt::SignalStack signalStack;
    if (monitor != nullptr && waitForRequest(monitor->moduleName)) {
        __debug(__LINE__, "%s ShutdownEvent received.\n", monitor->moduleName);
        monitor->onShutdown();
    }
    return nullptr;
}

int initShutdownMonitor(const char* moduleName, void (*onShutdown)(void)) {
    if (moduleName == nullptr || onShutdown == nullptr) {
        printf("initShutdownMonitor: invalid param\n");
        fflush(stdout);
        return EINVAL;
    }
    OwnedContext context = newContext(moduleName, onShutdown);
    pthread_t thread;
    if (context == nullptr || pthread_create(&thread, nullptr, _shutdownMonitorThread, context.get()) != 0) {
        __debug(__LINE__, "initShutdownMonitor: no monitor for %s\n", moduleName);
        return 0;
    }
    (void)context.release();  // the thread's now
    pthread_detach(thread);
    return 0;
}

int SignalModuleShutdown(const char* moduleName) {
    if (moduleName == nullptr) {
        return EINVAL;
    }
    const kt::HeapText name = semaphoreName(moduleName);
    sem_t* semaphore = name == nullptr ? SEM_FAILED : sem_open(name.get(), 0);
    if (semaphore != SEM_FAILED) {
        sem_post(semaphore);
        sem_close(semaphore);
    }
    return 0;
}
