// Reads memory that may not be there, without a fault.
#ifndef KT_INTERNAL_STACK_WORD_H
#define KT_INTERNAL_STACK_WORD_H

#include "internal/private.h"

namespace kt {

// False, with `word` untouched, when the word at `address` (aligned or not) cannot be read. Safe in a signal
// handler. Keeps errno.
bool readStackWord(unsigned long address, unsigned long& word);

}  // namespace kt

#endif
