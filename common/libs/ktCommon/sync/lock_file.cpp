#include "sync/lock_file.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>

#include "diag/debug.h"
#include "internal/descriptor.h"
#include "internal/full_sleep.h"
#include "internal/uncancelled.h"
#include "internal/uninterrupted.h"
#include "random.h"

namespace {

constexpr unsigned char kTaken = 0;
constexpr unsigned char kFree = 1;
constexpr mode_t kNewFile = 0666;
constexpr int kNoByte = -1;
constexpr int kRetries = 100;
constexpr int kLooksPerLine = 10;
constexpr int kShortestPauseMs = 50;
constexpr int kLongestPauseMs = 250;
constexpr int kAdvisoryPauses = 20;
constexpr std::chrono::milliseconds kAdvisoryPause{1};

// Holds the others out while it lives, unless somebody keeps it for long. Unlocked, not only closed: a child
// that another thread forks meanwhile has the descriptor, too.
class AdvisoryLock {
  public:
    explicit AdvisoryLock(int file) : file_(file) {
        for (int pauses = kAdvisoryPauses; isHeldElsewhere() && pauses > 0; --pauses) {
            kt::sleepFully(kAdvisoryPause);
        }
    }
    ~AdvisoryLock() { flock(file_, LOCK_UN); }
    AdvisoryLock(const AdvisoryLock&) = delete;
    AdvisoryLock& operator=(const AdvisoryLock&) = delete;

  private:
    bool isHeldElsewhere() const { return flock(file_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK; }

    int file_;
};

// Not even a FIFO makes it wait.
int openLockFile(const char* path, int flags) {
    return kt::uninterrupted([=] { return open(path, flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, kNewFile); });
}

// `otherwise`: for a file that has none to read.
int firstByte(int file, int otherwise) {
    unsigned char byte = 0;
    const ssize_t got = kt::uninterrupted([&] { return pread(file, &byte, 1, 0); });
    return got == 1 ? byte : otherwise;
}

// The descriptor has not been read from: it stands at the first byte.
void writeFirstByte(int file, unsigned char value) {
    kt::writeAll(file, reinterpret_cast<const char*>(&value), 1);
}

// Another process may have made the file since it was missing, and have taken the lock: then it stays as it
// is. O_EXCL would refuse a link whose file is missing.
int makeFree(const char* path) {
    const kt::Descriptor file(openLockFile(path, O_RDWR | O_CREAT));
    if (!file) {
        return kFree;
    }
    const AdvisoryLock lock(file.get());
    const int present = firstByte(file.get(), kNoByte);
    if (present != kNoByte) {
        return present;
    }
    writeFirstByte(file.get(), kFree);
    return kFree;
}

void overwrite(const char* path, unsigned char value) {
    const kt::Uncancelled uncancelled;
    const kt::Descriptor file(openLockFile(path, O_RDWR));
    if (file) {
        writeFirstByte(file.get(), value);
    }
}

// False when the value is another one, or becomes another before it can be replaced.
bool replace(const char* path, int expected, unsigned char value) {
    const kt::Uncancelled uncancelled;
    if (fileGetLockValue(path) != expected) {
        return false;
    }
    const kt::Descriptor file(openLockFile(path, O_RDWR));
    if (!file) {
        return true;
    }
    const AdvisoryLock lock(file.get());
    if (firstByte(file.get(), expected) != expected) {
        return false;
    }
    writeFirstByte(file.get(), value);
    return true;
}

// False when all retries were in vain.
bool replaceInTime(const char* path, int expected, unsigned char value, const char* tag) {
    if (replace(path, expected, value)) {
        return true;
    }
    for (int looks = 2; looks <= kRetries + 1; ++looks) {
        kt::sleepFully(std::chrono::milliseconds(getRandomInt(kShortestPauseMs, kLongestPauseMs)));
        if (replace(path, expected, value)) {
            return true;
        }
        if (looks % kLooksPerLine == 0) {
            __debug(__LINE__, "%s: waiting: %d\n", tag, looks);
        }
    }
    return false;
}

}  // namespace

int fileGetLockValue(const char* path) {
    if (path == nullptr) {
        return kFree;
    }
    const kt::Uncancelled uncancelled;
    const kt::Descriptor file(openLockFile(path, O_RDONLY));
    return file ? firstByte(file.get(), kFree) : makeFree(path);
}

int fileSetLockValue(const char* path, int waitFor, unsigned char setTo, const char* tag) {
    if (path != nullptr && !replaceInTime(path, waitFor, setTo, tag)) {
        __debug(__LINE__, "%s: taking lock\n", tag);
        overwrite(path, setTo);
    }
    return 0;
}

int fileSetLock(const char* path) {
    return fileSetLockValue(path, kFree, kTaken, "fSL");
}

int fileFreeLock(const char* path) {
    return fileSetLockValue(path, kTaken, kFree, "fFL");
}
