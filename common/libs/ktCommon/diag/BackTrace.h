// Fault capture: what a daemon leaves behind when it dies of a fatal signal, and the library's assertion
// reports.
//
// A report is collected in one cache of text, written in one piece to standard error, and handed to
// logStackTrace. The functions that add to the cache append; the reports and dump_frame_in_vicinity_of end
// with FlushCache. The cache has no lock of its own: reports of several threads do not mix, but LogCache and
// what is built on it are for one thread at a time.
//
// Words are those of the processor: 4 bytes on the board, 8 on a 64-bit host. Stack words are probed before
// they are read; one that cannot be read ends its list. Addresses are printed as on the board, with more
// digits where they are longer.
//
// Unless a function says otherwise it does not keep errno, may wait for the loader's and the allocator's
// locks, and is neither a cancellation point nor for signal handlers.
#ifndef KT_DIAG_BACKTRACE_H
#define KT_DIAG_BACKTRACE_H

#include "internal/api.h"

#ifdef __cplusplus
#include <signal.h>
#include <ucontext.h>

extern "C" {
#endif

// Gets the process ready for fatal signals: fills g_proccessId and g_processName (frame/process.h; runs a
// shell command), makes the first use of everything that a report needs, gives the calling thread
// g_signalStack as its alternate signal stack, and installs sigFatalHandler for SIGABRT, SIGSEGV, SIGBUS,
// SIGILL and SIGFPE, in this order.
// For the main thread, once. A fault in another thread is handled on that thread's own alternate stack if it
// has one (those that the library starts have), otherwise on its stack, so that its overflow goes unreported.
// A thread that blocks these signals dies of its fault without a report.
// Returns the result of the last installation, 0 or -1 with errno; failures of the others go unreported.
// A cancellation point.
KT_API int InitSigHandlers(void);

// Writes an assertion report: the time, the expression, file, line and comment, and a backtrace whose first
// line is the caller. The process goes on.
// file: null counts as "unknown". expression, comment: null counts as "".
// Returns the number of frames captured, itself included (at most 64); 0, without a report, for an assertion
// that fails while its thread is writing one (in logStackTrace).
// Thread safe: reports wait for each other. Keeps errno. Blocks up to 0.3 s on a standard error that nobody
// reads (longer on a terminal that cannot be opened once more), and as long as logStackTrace does. Not a
// cancellation point. Demangling takes some 75 bytes of stack for each character of the longest C++ name.
KT_API int AssertBackTrace(const char* expression, const char* file, int line, const char* comment);

// For trying out the fault capture: two assertion reports if DEBUG_GENERAL is set, then a read at address 0,
// which ends the process. Does not return.
KT_API KT_NORETURN void testSigFault(void);

#ifdef __cplusplus
}

// The text being collected, with its terminator; all zero when it is empty.
extern KT_API char cacheBuffer[0x20000];

// Bytes of text in cacheBuffer without the terminator, at most 131071.
extern KT_API int cacheOffset;

// The alternate signal stack of the main thread: the 12288 bytes from its first address that is a multiple
// of 4.
extern KT_API char g_signalStack[12292];

// The handler of fatal signals: reports (SignalBackTrace) and ends the process with exit(sig), within 3
// seconds whatever locks the process was interrupted in. Does not return.
// It moves to a large stack of its own as soon as the frames are captured. Steps that hang or fault are left
// out: names go undemangled, then unresolved, then the step is skipped; an exit that hangs becomes
// _exit(sig). Of several threads that fault together the first reports and the others wait. A fatal signal
// that is sent meanwhile, not by the thread itself, is ignored.
// SIGALRM is taken over for the limits, and a thread of the kernel's own is started; where none can be had,
// the real-time interval timer is taken instead, which blocked signals defeat.
KT_API void sigFatalHandler(int sig, siginfo_t* info, void* context);

// Writes the fault report: signal, reason, process, registers, fault frame and the backtrace. What the cache
// holds goes out first. The first two frames, this function and its caller, are left out.
// sig: 4, 6, 7, 8 and 11 have names, any other is "Unknown". info: null counts as all zero. context: null: no
// report.
// Called for its own sake it has no time limits and no stack but the caller's.
KT_API void SignalBackTrace(int sig, siginfo_t* info, ucontext_t* context);

// Appends a formatted text to the cache; what does not fit is cut. Safe in a signal handler.
// Returns 1; 0 if formatting failed: then nothing has changed.
KT_API int LogCache(const char* format, ...) KT_PRINTF(1, 2);

// Writes the cache to standard error with one write (more only if it takes less; 0.3 s at most) and to
// logStackTrace, then clears it. An empty cache: does nothing. A closed reader raises no SIGPIPE. Not a
// cancellation point.
KT_API void FlushCache();

// Appends the line "%s%3d: [0x%08x] ( %s + 0x%x ) @ %s %s\n": prefix, index, address, name of the symbol
// (demangled if it is a C++ name), distance from it, object file, suffix; "%s%3d: [0x%08x] %s\n" where no
// symbol is known. The texts must not be null.
KT_API void capture_symbol(unsigned long* address, const char* prefix, int index, const char* suffix);

// Appends the registers of `context` as the board's kernel records them, 21 words, and `workingFp`. On x86-64
// fp is rbp, sp rsp, pc rip, cpsr the flags, fault cr2; r0 to r10 are rax, rdi, rsi, rdx, rcx, r8 to r13 in
// this order, ip is r14, lr is 0.
// Returns as LogCache; 0 if context is null.
KT_API int DumpArmFaultContext(sigcontext* context, unsigned long** workingFp);

// Appends "\nFault frame:\n", the stack words from fp down to sp, 101 at most, and "\n". A word is "0x%x "
// with its address, and a line of capture_symbol with the prefix "deref: ", its distance from fp in words (0,
// -1 ...), and as suffix " <----- Frame start" at fp, " <----- Current stack pointer" at sp, else "". No
// words if sp is more than one word above fp. Returns as LogCache.
KT_API int DumpFaultFrame(unsigned long** fp, unsigned long** sp);

// Writes out "\n *** dump_frame_in_vicinity_of( fp: 0x%x, sp: 0x%x, range: %d ) ***\n", the stack words from
// fp + range words down to fp - range words as DumpFaultFrame shows them (none if range is negative), and "
// *** End dump_frame_in_vicinity_of() ***\n\n".
KT_API void dump_frame_in_vicinity_of(unsigned long** fp, unsigned long** sp, int range);

// Stores up to max return addresses of the calling thread in frames. Returns their number.
KT_API int CaptureBacktrace(unsigned long** frames, int max);

// Appends "  fp: 0x%x  sp: 0x%x\n\n" and walks a chain of frame records of the board's procedure call
// standard, where the word before a record's address is the caller's return address and the third word before
// it the caller's record. The first record is the word at fp - skip words.
// out: room for max addresses, and for one even if max is less.
// Returns the number of return addresses stored; 0 if fp is null, without text.
KT_API int CaptureBacktraceInternal(unsigned long** fp, unsigned long** sp, unsigned long skip,
                                    unsigned long** out, int max);

// Looks for an address inside the function that the word at fp points into: faultAddress if it is one, else
// the first of the stack words from sp up to fp. The function ends where stepping on by 4 bytes finds another
// symbol or none.
// Returns it; 0 if there is none, fp is null or unreadable, or no symbol is known for its word.
KT_API unsigned long ConfirmFaultInFrame(unsigned long** fp, unsigned long** sp, unsigned long* faultAddress);

// Prints "Obtained %zd stack frames.\n" and up to 10 frames of the calling thread on standard output, one per
// line. Only the first line without memory. A cancellation point.
KT_API void print_trace();
#endif

#endif
