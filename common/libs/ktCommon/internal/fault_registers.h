// What differs between architectures when a fault is reported. One source for each.
#ifndef KT_INTERNAL_FAULT_REGISTERS_H
#define KT_INTERNAL_FAULT_REGISTERS_H

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

// Changes `context` to what an unwinder goes on from: it takes the interrupted instruction's address for the
// return address of a call, and nothing is known of the function of one that is no code, as after a call of a
// null pointer.
// Returns the address that the unwinder will give the frame whose instruction was interrupted.
unsigned long makeUnwindable(sigcontext& context);

// An address of the same function that a search of the symbols finds even for a function's first instruction.
unsigned long searchableAddress(unsigned long code);

}  // namespace kt

#endif
