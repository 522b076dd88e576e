#include <cstddef>
#include <cstring>

#include "internal/fault_registers.h"
#include "internal/stack_word.h"

namespace kt {

static_assert(sizeof(sigcontext) == sizeof(FaultRegisters));
static_assert(offsetof(sigcontext, arm_r0) == offsetof(FaultRegisters, r));
static_assert(offsetof(sigcontext, arm_fp) == offsetof(FaultRegisters, fp));
static_assert(offsetof(sigcontext, fault_address) == offsetof(FaultRegisters, faultAddress));

FaultRegisters faultRegisters(const sigcontext& context) {
    FaultRegisters registers;
    memcpy(&registers, &context, sizeof registers);
    return registers;
}

unsigned long makeUnwindable(sigcontext& context, bool pcIsCode) {
    if (!pcIsCode) {
        const unsigned long pc = context.arm_pc;
        context.arm_pc = context.arm_lr;
        return pc;
    }
    // It goes back by two bytes to be within the call. A fault in a function's first instruction, such as the
    // load of a small accessor that was called on null, would be taken for one of the function before, and
    // the descent end there.
    context.arm_pc += 2;
    return context.arm_pc;
}

// The symbol of a Thumb function is its address plus one.
void findSymbol(unsigned long address, Dl_info& info) {
    const auto ask = [&info](unsigned long place) {
        info = {};
        dladdr(reinterpret_cast<void*>(place), &info);  // NOLINT(performance-no-int-to-ptr)
        return reinterpret_cast<unsigned long>(info.dli_saddr);
    };
    const unsigned long start = ask(address | 1);
    if ((start & 1) == 0) {
        ask(address);
    } else if ((address & 1) == 0) {
        info.dli_saddr = reinterpret_cast<void*>(start - 1);  // NOLINT(performance-no-int-to-ptr)
    }
}

}  // namespace kt
