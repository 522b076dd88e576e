// The debug command port of a daemon: one text command per connection, one text reply.
//
// A client connects, sends at most 256 bytes "command[ arguments]" without a line end (the first receive is
// the whole command; a blank is 0x20), receives the reply with a terminating NUL byte, and the daemon closes
// the connection. A client that keeps silent, does not read or resets costs the port at most 3 seconds for
// its command and 3 for its reply; once g_cleanExitRequest is set, at most a fraction of a second.
//
// Commands are looked up without regard to case, in the library's table first, so a daemon cannot replace
// those. "?" is answered by the library's handler, then the daemon's. A missing or empty reply is replaced by
//     "Command '%s' not defined. Use '?' for Help\n"   command, when no table has it
//     "Command '%s' executed, rc %d\n"                 command, the handler's result
#ifndef KT_DIAG_DEBUG_SERVER_H
#define KT_DIAG_DEBUG_SERVER_H

#include <pthread.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// args: the text behind the command's first blank, null when there is none; the handler may change it.
// *reply: null; the handler may store a string there with sprintf_x, which the server frees.
// Returns 0, -1 for a missing argument, or another status. Handlers run on the server's thread, one at a
// time; the port is busy, and a tear-down waits, until they return. One that ends the process does so by
// _ccmd_exit: a tear-down that another thread's exit has begun would wait for a plain exit for ever.
typedef int (*CmdHandler)(char* args, char** reply);

// An entry of a command table; an entry with a null command ends the table.
typedef struct CmdEntry {
    const char* command;
    CmdHandler handler;
} CmdEntry;

// et, rpc, tag, debug, exit, help, ? and the end entry.
extern KT_API const CmdEntry cmdTableCommon[8];

// The listening socket, 0 when there is none. It belongs to the server's thread, which alone closes it. To
// stop the server: set g_cleanExitRequest, shut this socket down, join the thread; the number stays. Do not
// close it: a number that is closed twice may be another thread's by then.
extern KT_API int g_hDebugServer;

// The server's thread, 0 when none was started; set by whoever starts it. libraryDeinit joins it: who joins
// it himself sets this to 0.
extern KT_API pthread_t g_threadIdDebugListener;

// Not 0 once the process is being torn down: a failing wait for a client is then the order to end.
extern KT_API int g_cleanExitRequest;

// The server, as a thread's start routine. commands: the daemon's table (CmdEntry*), or null; it must outlive
// the thread. The port is that of the own process name. Without a port, or when it cannot be bound, the
// thread ends at once and the daemon runs without one: the first writes "%s isn't available for debug
// commands\n" as a debug line, the second an entry of the error log. When waiting for a client fails outside
// a tear-down, an error entry and a debug line are written and the port stays closed. Blocks until the
// tear-down; thread cancellation is held back meanwhile, in handlers too.
// Returns null.
KT_API void* debugCommand_t(void* commands);

// Runs the handler of the first entry of table whose command equals `command` without regard to case. reply
// is not null. Whatever the handler does (block, run a shell command) this does.
// Returns the handler's result, or
//     -101  table is null
//     -102  command is null
//     -103  the command is not in the table
KT_API int cmdIntParseCommand(const CmdEntry* table, const char* command, char* args, char** reply);

// The library's commands. *reply (not null) receives a new string, which the caller frees. "rpc" and "debug"
// may run a shell command and block as long as it does.
//   et     0  "Process has been running for %s\n": days:hours:minutes:seconds since the server started
//   rpc    0  runs args by the shell: the command, a line of "-" two longer, and up to 10239 bytes of
//          its standard output (whole lines; see systemBufferEcho)
//   tag    0  "Tag [%s] = [%s]\n": the name and its value (empty when the tag is not known)
//   debug  0  "set debug options '%s'\n": args, applied by _debugSetOptions with the own process name
//   help   0  "Global commands\n" and the library's commands
//         -1  (rpc, debug, tag) args is null; the reply asks for them
KT_API int _ccmd_showET(char* args, char** reply);
KT_API int _ccmd_doRPC(char* args, char** reply);
KT_API int _ccmd_getTag(char* args, char** reply);
KT_API int _ccmd_setDebug(char* args, char** reply);
KT_API int _ccmd_help(char* args, char** reply);

// Prints "\n*** Exiting by request\n\n" on standard output and ends the process with exit(1), exit handlers
// included.
KT_API int _ccmd_exit(char* args, char** reply) KT_NORETURN;

#ifdef __cplusplus
}
#endif

#endif
