// What a shell command prints, collected into a buffer.
//
// The command line goes to /bin/sh as it is; nothing is escaped, so pass only trusted text. Only standard
// output is read; the exit status is not looked at. Collected are whole lines, each with its line feed, as
// far as they fit: a line that would not fit whole with the terminator is skipped, and later ones are still
// tried. A line of more than 1023 characters counts as pieces of 1023 that are tried one by one, a NUL byte
// ends its piece, and an unfinished last piece (no line feed before the end) is dropped.
//
// Both functions block until the command closes its output and ends. They take no lock and may run in several
// threads at once; they are cancellation points, and a cancelled one waits for its command first. The command
// inherits no descriptor that is close-on-exec. errno is not kept. Not for signal handlers.
#ifndef KT_SYS_CAPTURE_H
#define KT_SYS_CAPTURE_H

#include <stddef.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Runs: command, or with an argument (may be null): command "argument". The quotation marks are the shell's;
// one inside the argument ends the quoting. output: array of outputSize bytes, always terminated (with a size
// of 0 untouched).
// Returns the length of the text in output; 0 when nothing was collected, whatever became of the command
//     -1  command is null
//     -2  output is null
//     -3  the command could not be started (no process, descriptor or memory); output is empty
KT_API int systemBufferEcho(const char* command, const char* argument, char* output, size_t outputSize);

// The same with the argument unquoted: it may hold several words, pipes and redirections. A null argument is
// empty and leaves the blank behind the command.
KT_API int sysBuffEcho_alt(const char* command, const char* argument, char* output, size_t outputSize);

#ifdef __cplusplus
}
#endif

#endif
