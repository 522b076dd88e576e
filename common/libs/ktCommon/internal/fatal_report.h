// How a process ends that has been hit by a fatal signal: one thread reports, every step of it has a time
// limit, and whatever happens the process is gone within three seconds.
//
// The reporter may have been interrupted while it held any lock of the C library, the allocator's and the
// loader's included, so a step may hang; and what is broken already may fault again. Either way the step is
// abandoned and the report goes on without it. A watchdog keeps the limits: a thread of the kernel alone,
// unknown to the C library, which sends the reporter a SIGALRM now and then, and in the end ends the process.
// Everything here is for signal handlers.
#ifndef KT_INTERNAL_FATAL_REPORT_H
#define KT_INTERNAL_FATAL_REPORT_H

#include <setjmp.h>

#include <chrono>

#include "internal/private.h"

namespace kt::fatal {

using std::chrono::milliseconds;

// Makes the large stack, which a dying process may not be able to.
void prepare();

// Makes the calling thread the reporter of this end. Does not return to
// - the reporter, whose second fault this is: its step is abandoned;
// - another thread, because one reports already: it waits, and ends the process if nobody else does.
void begin(int sig);

// Whether the calling thread is the reporter; false while the process lives.
bool isReporter();

// Returns at once but in a thread that is not the reporter while there is one: that waits for the end.
void giveWay();

// Runs `call` on a large stack of the process's own; faults there are handled on another one. On the caller's
// stack without a large one, and unless the caller is the reporter.
void onLargeStack(void (*call)(void*), void* argument);

// What the process has until its end.
milliseconds timeLeft();

// exit(sig) within the time that is left, else _exit(sig).
[[noreturn]] void end(int sig);

// One step with a time limit. Steps nest; an inner one never outlasts the outer. Outside the reporter it does
// nothing.
// The caller saves the place to go on from in `wayOut`, because a function that has returned cannot be jumped
// into:
//     if (sigsetjmp(step.wayOut, 0) == 0) { step.begin(limit); ... }
//     step.end();
// Nothing that needs a destructor may live inside.
struct Step {
    void begin(milliseconds limit);
    void end();

    sigjmp_buf wayOut;
    Step* outer = nullptr;
    std::chrono::steady_clock::time_point deadline;
};

// False when the step was abandoned. Outside the reporter it is a plain call.
bool attempt(milliseconds limit, void (*call)(void*), void* argument);

template <class Call>
bool attempt(milliseconds limit, Call call) {
    return attempt(
        limit, [](void* argument) { (*static_cast<Call*>(argument))(); }, &call);
}

template <class Call>
void onLargeStack(Call call) {
    // It returns before `call` ends: NOLINTNEXTLINE(clang-analyzer-core.StackAddressEscape)
    onLargeStack([](void* argument) { (*static_cast<Call*>(argument))(); }, &call);
}

}  // namespace kt::fatal

#endif
