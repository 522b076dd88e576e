/*
 * Logging library: the gateway's persistent logs, one text file per kind in the directory LOG_PATH.
 *
 * File          Written by       Entry
 * error         logError         "YYYY-MM-DD HH:MM:SS CODE TEXT\n", local time, CODE in decimal
 * engineering   logEngMessage    the same
 * reboot        logReboot        the same; survives a reset to factory defaults
 * stacktrace    logStackTrace    the text as it is
 *
 * Entries are appended with one write each, so those of several threads and processes do not mix. An entry is
 * one line: line breaks inside its text become blanks, and what goes beyond 4000 bytes is cut. A missing
 * directory or a full disk drops the entry silently, because a daemon must not fail for its log.
 */
#ifndef KT_SIBLINGS_LOGGING_H
#define KT_SIBLINGS_LOGGING_H

#include "siblings_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Directory of the logs, "/var/lognv/kt", without an ending slash. Weak: a program may define its own. */
KT_SIBLINGS_API extern const char LOG_PATH[];

/*
 * Records an error that matters to operators.
 *   code    component id of the reporter.
 *   fmt     printf format, with its arguments; null records nothing.
 * errno is preserved. Thread safe. Writes to disk; not a cancellation point; not for signal handlers.
 */
KT_SIBLINGS_API void logError(int code, const char* fmt, ...) KT_SIBLINGS_PRINTF(2, 3);

/*
 * Records a message for the engineers who maintain the gateway.
 *   code    component id of the reporter.
 *   fmt     printf format, with its arguments; null records nothing.
 * errno is preserved. Thread safe. Writes to disk; not a cancellation point; not for signal handlers.
 */
KT_SIBLINGS_API void logEngMessage(int code, const char* fmt, ...) KT_SIBLINGS_PRINTF(2, 3);

/*
 * Records why the gateway reboots or resets.
 *   component    component id of the one who asked for it.
 *   text         plain text, never taken as a format; null records nothing.
 * errno is preserved. Thread safe. Writes to disk; not a cancellation point; not for signal handlers.
 */
KT_SIBLINGS_API void logReboot(int component, const char* text);

/*
 * Records a finished fault or assertion report.
 *   text    the report, of any length and any number of lines; stored unchanged. Null records nothing.
 * errno is preserved. Thread safe. Writes to disk; not a cancellation point. Safe in a signal handler:
 * allocates nothing and takes no lock.
 */
KT_SIBLINGS_API void logStackTrace(const char* text);

#ifdef __cplusplus
}
#endif

#endif
