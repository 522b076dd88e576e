// What differs between architectures when a fault is reported. One source for each.
#ifndef KT_INTERNAL_FAULT_REGISTERS_H
#define KT_INTERNAL_FAULT_REGISTERS_H

#include <dlfcn.h>
#include <signal.h>

#include "internal/private.h"

namespace kt {

// The processor context of a fault as the board's kernel records it: 21 words in this order.
struct FaultRegisters {
    unsigned long trapNumber;
    unsigned long errorCode;
    unsigned long oldMask;
    unsigned long r[11];
    unsigned long fp;
    unsigned long ip;
    unsigned long sp;
    unsigned long lr;
    unsigned long pc;
    unsigned long cpsr;
    unsigned long faultAddress;
};
static_assert(sizeof(FaultRegisters) == 21 * sizeof(unsigned long));

FaultRegisters faultRegisters(const sigcontext& context);

// Changes `context` to what an unwinder goes on from, which takes the interrupted instruction's address for
// the return address of a call. If that is no code, as after a call of a wild pointer, it is the caller's.
// Returns the address that the unwinder will give the frame of the interrupted instruction; the pc if it has
// none.
unsigned long makeUnwindable(sigcontext& context, bool pcIsCode);

// dladdr for addresses of code, too: finds the function of its first instruction. Leaves a symbol's name null
// where none is known.
void findSymbol(unsigned long address, Dl_info& info);

}  // namespace kt

#endif
