#include "internal/fault_registers.h"

#include "internal/stack_word.h"

namespace kt {

// r0 to r10 and ip show twelve of the general registers in the order of the calling convention: rax, the six
// of arguments, then r10 to r14. There is no link register.
FaultRegisters faultRegisters(const sigcontext& context) {
    return {
        context.trapno,
        context.err,
        context.oldmask,
        {context.rax, context.rdi, context.rsi, context.rdx, context.rcx, context.r8, context.r9, context.r10,
         context.r11, context.r12, context.r13},
        context.rbp,
        context.r14,
        context.rsp,
        0,
        context.rip,
        context.eflags,
        context.cr2,
    };
}

// It knows the frame of a signal as such.
unsigned long makeUnwindable(sigcontext& context, bool pcIsCode) {
    const unsigned long pc = context.rip;
    unsigned long returnAddress;
    if (!pcIsCode && readStackWord(context.rsp, returnAddress)) {
        context.rip = returnAddress;
        context.rsp += sizeof returnAddress;
    }
    return pc;
}

void findSymbol(unsigned long address, Dl_info& info) {
    dladdr(reinterpret_cast<void*>(address), &info);  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace kt
