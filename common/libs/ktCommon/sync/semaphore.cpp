#include "sync/semaphore.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "internal/error_text.h"
#include "internal/mutex_lock.h"
#include "internal/uncancelled.h"

namespace {

constexpr mode_t kForEverybody = 0666;
constexpr size_t kErrorTextSize = 256;

pthread_mutex_t maskLock = PTHREAD_MUTEX_INITIALIZER;

void lockMask() {
    pthread_mutex_lock(&maskLock);
}

void unlockMask() {
    pthread_mutex_unlock(&maskLock);
}

// A child forked meanwhile would keep the cleared mask for good.
[[maybe_unused]] const int registered = pthread_atfork(lockMask, unlockMask, unlockMask);

// One at a time: of two that overlap the second would take 0 for the process's mask, and restore that.
class ClearedMask {
  public:
    ClearedMask() : lock_(maskLock), previous_(umask(0)) {}
    ~ClearedMask() { umask(previous_); }
    ClearedMask(const ClearedMask&) = delete;
    ClearedMask& operator=(const ClearedMask&) = delete;

  private:
    const kt::MutexLock lock_;
    const mode_t previous_;
};

sem_t* openOrCreate(const char* name) {
    const ClearedMask mask;
    sem_t* semaphore = sem_open(name, 0);
    return semaphore != SEM_FAILED ? semaphore : sem_open(name, O_CREAT, kForEverybody, 1U);
}

// A cancelled thread ends the process, too: nothing goes on without the semaphore.
[[noreturn]] void giveUp(const char* name, int error) {
    const kt::Uncancelled uncancelled;
    const kt::ErrorText<kErrorTextSize> cause(error);
    printf("Couldn't get semaphore %s. Error %d/%s\n", name, error, cause.get());
    fflush(stdout);
    exit(0);
}

}  // namespace

sem_t* semGet(const char* name) {
    if (name == nullptr) {
        return nullptr;
    }
    sem_t* semaphore = openOrCreate(name);
    if (semaphore == SEM_FAILED) {
        giveUp(name, errno);
    }
    return semaphore;
}
