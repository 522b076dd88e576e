// Debug output: which kinds of trace are on, and the lines they write.
//
// A line is "%s %05d\%05d (%4d): %s": timestamp (month.day.year hours:minutes:seconds.milliseconds, local
// time), process id, kernel thread id, the caller's source line number, text. The text brings its own line
// end. A line is built completely, then written in one piece to standard output, and in one piece to the
// debug file when DEBUG_FILE is set. Lines of several threads never mix; the lock that sees to that is
// standard output's own.
//
// The output functions may be called from any thread. They may block as long as standard output does, are
// cancellation points (a pending cancellation releases every lock), leave errno as it was (but __breakpoint),
// and are not for signal handlers. A forked child of a threaded process should exec before it traces: the C
// library's time zone lock may have been taken at the fork. Without memory for a long line its beginning is
// written. Text that stands in stdout's own buffer goes out before the line.
#ifndef KT_DIAG_DEBUG_H
#define KT_DIAG_DEBUG_H

#include <stdarg.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    DEBUG_GENERAL = 0x001,  // __debug, __debugFunc; set by every option string that does not begin with "!"
    DEBUG_FILE = 0x002,     // f: lines go to the debug file, too
    DEBUG_NETWORK = 0x004,  // n
    DEBUG_SOCKETS = 0x008,  // s
    DEBUG_SOCKETS_SEND = 0x010,  // S directly after s; tested by the daemons' socket code only
    DEBUG_SOCKETS_RECV = 0x020,  // R directly after s; likewise
    DEBUG_SQL = 0x040,           // q
    DEBUG_TAGS = 0x080,          // t
    DEBUG_PROTOCOL = 0x100,      // p
    DEBUG_XML = 0x200            // x
};

// The bits above; 0 when the library is loaded. Read without a lock, so a change takes effect at a thread's
// next call. A daemon may write it directly; every category tests its own bit only.
extern KT_API unsigned gDebugMode;

// Path of the debug file, null until set. The string belongs to the library; read it only while no other
// thread sets it.
extern KT_API char* gDebugFileName;

// 22 blanks, for the daemons' own layout. Weak: a program may define its own.
extern KT_API const char DEBUG_PADDING[];

// "/usr/local/data/RESTORE_TEST_ONLY", path of the restore-test marker file, for the daemons. Weak.
extern KT_API const char RESTORE_TEST_ONLY[];

// Applies an option string and prints what it switched on, as one text, on standard output, which is flushed.
// options: beginning with "!" it switches all off; otherwise it sets DEBUG_GENERAL and adds the bit of each
// letter
//   f n p q s t x in it. Upper-case letters directly behind q (T: SQL trace, through sqlSetOption(1, 1)) and behind
//   s (R, S) refine it; "?" prints the help text; other characters have no effect. Null changes nothing.
// processName: names the debug file and stands in the help; null: the own name, asked by getProcessName.
// Returns the new mode. Blocks and is a cancellation point like the output functions; asking for the name
// runs a shell command.
KT_API unsigned _debugSetOptions(const char* options, const char* processName);

// Returns gDebugMode.
KT_API unsigned _debugGetMode(void);

// Sets gDebugFileName to "%s/_debug_%s.log" from LOG_PATH and processName (not null) and frees the previous
// one. No file is opened: it is opened, appended to (created if missing) and closed again for every line; one
// that cannot be opened is skipped.
// Returns 0.
KT_API int _debugSetFileName(const char* processName);

// Write a line when their bit is set: DEBUG_GENERAL, and the category's own for the others. When it is clear
// they cost one bit test. line: the caller's source line number. fmt: as printf, not null.
// Return 0.
KT_API int __debug(int line, const char* fmt, ...) KT_PRINTF(2, 3);
KT_API int __debugNetwork(int line, const char* fmt, ...) KT_PRINTF(2, 3);
KT_API int __debugProtocol(int line, const char* fmt, ...) KT_PRINTF(2, 3);
KT_API int __debugSockets(int line, const char* fmt, ...) KT_PRINTF(2, 3);
KT_API int __debugSQL(int line, const char* fmt, ...) KT_PRINTF(2, 3);
KT_API int __debugTags(int line, const char* fmt, ...) KT_PRINTF(2, 3);
KT_API int __debugXML(int line, const char* fmt, ...) KT_PRINTF(2, 3);

// Writes the text "name<line> "message"" and a line end when DEBUG_GENERAL is set; line feeds of the message
// are deleted.
// Returns 0.
KT_API int __debugFunc(const char* name, int line, const char* fmt, ...) KT_PRINTF(3, 4);

// Write a line whatever the mode. __debugCoreMsg takes the text (not null) as it is, per cent signs included.
// Return 0.
KT_API int __debugCore(int line, const char* fmt, va_list ap) KT_PRINTF(2, 0);
KT_API int __debugCoreMsg(int line, const char* text);

// Prints "\n>>> BP (file:line) message\n", file (not null) without its directories, whatever the mode, then
// waits for one character on standard input.
// Returns it as an unsigned value (0 to 255); EOF (-1) at the end of input.
KT_API int __breakpoint(const char* file, int line, const char* fmt, ...) KT_PRINTF(3, 4);

#ifdef __cplusplus
}
#endif

#endif
