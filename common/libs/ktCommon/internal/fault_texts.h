// The texts that a fault report has for numbers. Safe in a signal handler.
#ifndef KT_INTERNAL_FAULT_TEXTS_H
#define KT_INTERNAL_FAULT_TEXTS_H

#include <cstddef>

#include "internal/private.h"

namespace kt {

struct SignalText {
    int sig;
    const char* name;
    const char* description;
};

// "Unknown" with an empty description for a signal that is none of the five fatal ones.
SignalText signalText(int sig);

// Why a signal was sent, by its si_code; empty if the code means nothing for the signal.
const char* signalReason(int sig, int code);

// As strerror gives it in the "C" locale: strerror may wait for the locale's lock.
void putErrorText(int error, char* text, size_t size);

}  // namespace kt

#endif
