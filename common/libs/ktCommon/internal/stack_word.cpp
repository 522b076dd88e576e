#include "internal/stack_word.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "internal/errno_guard.h"

namespace kt {
namespace {

// What the kernel copies of a signal mask.
constexpr size_t kMaskSize = 8;

// The kernel reads the mask first and answers EFAULT when it cannot; then it finds that it does not know what
// to do with it. Unlike a write to a pipe this needs no descriptor.
bool isReadable(unsigned long address) {
    constexpr int kNoSuchChange = -1;
    const unsigned long block = address / kMaskSize * kMaskSize;  // never crosses a page
    return syscall(SYS_rt_sigprocmask, kNoSuchChange, block, nullptr, kMaskSize) == 0 || errno != EFAULT;
}

}  // namespace

bool readStackWord(unsigned long address, unsigned long& word) {
    const ErrnoGuard errnoGuard;
    const unsigned long last = address + sizeof word - 1;
    // The page at address 0 is never mapped, but a null mask would count as none.
    if (address < kMaskSize || last < address || !isReadable(address) || !isReadable(last)) {
        return false;
    }
    memcpy(&word, reinterpret_cast<const void*>(address), sizeof word);  // NOLINT(performance-no-int-to-ptr)
    return true;
}

}  // namespace kt
