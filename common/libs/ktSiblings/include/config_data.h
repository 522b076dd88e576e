/*
 * Configuration data library: named rows of settings, and the options of the database layer.
 *
 * Rows come from the text file /usr/local/data/config_rows.txt, read anew by every call: one "NAME VALUE" per
 * line, VALUE the rest of the line without the blanks around it. Lines that begin with "#" are comments.
 */
#ifndef KT_SIBLINGS_CONFIG_DATA_H
#define KT_SIBLINGS_CONFIG_DATA_H

#include "siblings_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Paths of the main and of the user and role database. Weak: a program may define its own. */
KT_SIBLINGS_API extern const char SQL_MAIN_DB_NAME[];
KT_SIBLINGS_API extern const char SQL_RBAC_DB_NAME[];

/* Options are numbered from 0 to SQL_OPTION_COUNT - 1; SQL_OPTION_TRACE is the trace of every statement. */
#define SQL_OPTION_TRACE 1
#define SQL_OPTION_COUNT 16

/*
 * Reads the value of a configuration row.
 *   row      name of the row, compared with its case; may be null.
 *   index    which of the rows of that name, from 0.
 *   value    receives the value, cut to fit and always terminated; an empty text when there is no such row.
 *            May be null.
 *   size     bytes at value, terminator included.
 * Result:
 *   0     found.
 *   -1    no such row, or no room to store a value.
 * Thread safe. Reads a file; not a cancellation point; not for signal handlers.
 */
KT_SIBLINGS_API int dalGetConfigRowValue1(const char* row, int index, char* value, int size);

/*
 * Sets an option of the database layer for this process.
 *   option    0 to SQL_OPTION_COUNT - 1.
 *   value     the new value; 0, the value at start, switches a feature off.
 * Result:
 *   0     set.
 *   -1    no such option.
 * Thread safe. Does not block; safe in a signal handler.
 */
KT_SIBLINGS_API int sqlSetOption(int option, int value);

/*
 * Reads an option of the database layer.
 *   option    0 to SQL_OPTION_COUNT - 1.
 * Result: the value last set; 0 when it was never set or there is no such option.
 * Thread safe. Does not block; safe in a signal handler.
 */
KT_SIBLINGS_API KT_SIBLINGS_MUST_USE int sqlGetOption(int option);

#ifdef __cplusplus
}
#endif

#endif
