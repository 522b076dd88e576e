#include "internal/signal_stack.h"

#include <sys/auxv.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

namespace kt {
namespace {

// What the fatal signal handler needs besides the kernel's frame, whose size depends on the processor.
constexpr size_t kHandlerNeeds = 9216;
constexpr size_t kSmallestFrame = 3072;

size_t pageSize() {
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

size_t usableSize() {
    const size_t wanted =
        kHandlerNeeds + std::max(kSmallestFrame, static_cast<size_t>(getauxval(AT_MINSIGSTKSZ)));
    return (wanted + pageSize() - 1) / pageSize() * pageSize();
}

}  // namespace

SignalStack::SignalStack() : mapping_(MAP_FAILED), size_(usableSize() + pageSize()) {
    // The lowest page stays without access: growing into it ends the process instead of damaging its memory.
    void* mapping = mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (mapping == MAP_FAILED) {
        return;
    }
    stack_t stack = {};
    stack.ss_sp = static_cast<char*>(mapping) + pageSize();
    stack.ss_size = size_ - pageSize();
    if (mprotect(stack.ss_sp, stack.ss_size, PROT_READ | PROT_WRITE) != 0 ||
        sigaltstack(&stack, &previous_) != 0) {
        munmap(mapping, size_);
        return;
    }
    mapping_ = mapping;
}

SignalStack::~SignalStack() {
    // Refused while a handler still runs on it: then it has to stay.
    if (mapping_ != MAP_FAILED && sigaltstack(&previous_, nullptr) == 0) {
        munmap(mapping_, size_);
    }
}

}  // namespace kt
