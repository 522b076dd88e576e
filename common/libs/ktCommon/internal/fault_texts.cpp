#include "internal/fault_texts.h"

#include <signal.h>

#include <cstdio>
#include <cstring>

namespace kt {
namespace {

constexpr SignalText kSignalTexts[] = {
    {SIGILL, "SIGILL", "Illegal, malformed, unknown or privileged instruction"},
    {SIGABRT, "SIGABRT", "Abort"},
    {SIGBUS, "SIGBUS", "Bus error"},
    {SIGFPE, "SIGFPE", "Erroneous arithmetic operation"},
    {SIGSEGV, "SIGSEGV", "Segmentation fault"},
};

constexpr int kAnySignal = 0;

struct Reason {
    int sig;
    int code;
    const char* text;
};

constexpr Reason kReasons[] = {
    {SIGILL, ILL_ILLOPC, "Illegal opcode"},
    {SIGILL, ILL_ILLOPN, "Illegal operand"},
    {SIGILL, ILL_ILLADR, "Illegal addressing mode"},
    {SIGILL, ILL_ILLTRP, "Illegal trap"},
    {SIGILL, ILL_PRVOPC, "Privileged opcode"},
    {SIGILL, ILL_PRVREG, "Privileged register"},
    {SIGILL, ILL_COPROC, "Coprocessor error"},
    {SIGILL, ILL_BADSTK, "Internal stack error"},
    {SIGBUS, BUS_ADRALN, "Invalid address alignment"},
    {SIGBUS, BUS_ADRERR, "Nonexistent physical address"},
    {SIGBUS, BUS_OBJERR, "Object-specific hardware error"},
    {SIGFPE, FPE_INTDIV, "Integer divide by zero"},
    {SIGFPE, FPE_INTOVF, "Integer overflow"},
    {SIGFPE, FPE_FLTDIV, "Floating-point divide by zero"},
    {SIGFPE, FPE_FLTOVF, "Floating-point overflow"},
    {SIGFPE, FPE_FLTUND, "Floating-point underflow"},
    {SIGFPE, FPE_FLTRES, "Floating-point inexact result"},
    {SIGFPE, FPE_FLTINV, "Invalid floating-point operation"},
    {SIGFPE, FPE_FLTSUB, "Subscript out of range"},
    {SIGSEGV, SEGV_MAPERR, "Address not mapped to object"},
    {SIGSEGV, SEGV_ACCERR, "Invalid permissions for mapped object"},
    {kAnySignal, SI_USER, "sent by kill, sigsend, raise"},
    {kAnySignal, SI_QUEUE, "sent by sigqueue"},
    {kAnySignal, SI_TIMER, "sent by timer expiration"},
    {kAnySignal, SI_MESGQ, "sent by real time mesq state change"},
    {kAnySignal, SI_ASYNCIO, "sent by AIO completion"},
    {kAnySignal, SI_SIGIO, "sent by queued SIGIO"},
    {kAnySignal, SI_TKILL, "sent by tkill system call"},
};

}  // namespace

SignalText signalText(int sig) {
    for (const SignalText& text : kSignalTexts) {
        if (text.sig == sig) {
            return text;
        }
    }
    return {0, "Unknown", ""};
}

const char* signalReason(int sig, int code) {
    for (const Reason& reason : kReasons) {
        if (reason.code == code && (reason.sig == sig || reason.sig == kAnySignal)) {
            return reason.text;
        }
    }
    return "";
}

void putErrorText(int error, char* text, size_t size) {
    const char* known = strerrordesc_np(error);
    if (known == nullptr) {
        snprintf(text, size, "Unknown error %d", error);
    } else {
        snprintf(text, size, "%s", known);
    }
}

}  // namespace kt
