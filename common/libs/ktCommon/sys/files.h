// Whole files: tests, reads and writes, edits of text files in place, the tail of a log with its latest line
// first.
//
// Paths go to the system as they are; relative ones start at the working directory. Where a path is a printf
// format with its arguments, pass a path that comes from elsewhere through "%s"; a null format is an empty
// path, which names no file. Sizes are bytes, of 32 bits.
//
// No function waits for a device or for the other end of a FIFO: what is not there counts as the end of the
// file, a FIFO that nobody reads cannot be opened for writing, and writing fails when its reader takes
// nothing for a second. A directory cannot be opened for reading, either. Read errors count as the end of the
// file, except in modifyTextFile. A format that the C library refuses gives an empty text.
//
// A file's size is what stat tells when it is opened: files of /proc are empty but for fileGetByteContents,
// and of a file that grows meanwhile the rest is left out.
//
// New blocks come from the C allocator and are released by the caller with free(). Every function may run in
// any thread, but nothing is locked: of two that write one file at the same time, either may win. All block
// for as long as the file system does, and are cancellation points but fileExists, fileGetSize and
// invertStringBuffer; a cancelled one leaves no memory or descriptor behind and no file half-written. errno
// is not kept. Not for signal handlers.
#ifndef KT_SYS_FILES_H
#define KT_SYS_FILES_H

#include <stddef.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// What modifyTextFile does at its target.
enum { MODIFY_INSERT = 1, MODIFY_REPLACE = 2, MODIFY_DELETE_TO = 4 };

// Returns 1 when there is something at the path, of any kind, symbolic links followed; else 0, also when it
// cannot be examined.
KT_API int fileExists(const char* format, ...) KT_PRINTF(1, 2);

// Returns the file's size, INT_MAX for a larger one; 0 when path is null or cannot be examined.
KT_API int fileGetSize(const char* path);

// Reads the whole file and stores the number of bytes read in *size (may be null), which is less than the
// file's size when it shrinks meanwhile.
// Returns a new block of the file's size + 4 bytes, zeros behind what was read, so that it ends as a string
//     null  it cannot be opened, is larger than INT_MAX - 4 bytes, or memory is short; *size is 0
KT_API char* fileGetContents(const char* path, int* size) KT_MALLOC KT_WARN_UNUSED;
KT_API char* fileGetContentsEx(int* size, const char* format, ...) KT_PRINTF(2, 3) KT_MALLOC KT_WARN_UNUSED;

// Clears all of buffer, then reads up to `capacity` bytes (at most INT_MAX) from the file's start, whatever
// its size. For text pass one byte less than there is space.
// Returns the number of bytes read
//     -1  nothing was read, the file cannot be opened, or buffer is null
KT_API int fileGetByteContents(void* buffer, size_t capacity, const char* format, ...) KT_PRINTF(3, 4);

// Makes the file's directory by the shell command "/bin/mkdir -p DIRECTORY", unquoted, where DIRECTORY is
// what stands before the last "/"; if that is nothing, no command is run. Then creates or empties the file
// and writes the formatted text without its terminator, or `size` bytes of data.
// Return 1  all is written and the file closed without an error
//     0     there was nothing to write, so the file is empty; or writing failed, and it holds what could be
//           written. Without memory for the text the file stays untouched
//     -1    a null argument; nothing is touched
//     -2    the file cannot be opened
KT_API int filePutContents(const char* path, const char* format, ...) KT_PRINTF(2, 3);
KT_API int filePutContentsBin(const char* path, const void* data, size_t size);

// Edits a text file at the first occurrence of needle (case matters). The target is the needle itself with
// `lines` 0 or less. Else it is the start of the `lines`-th line after the needle's, or with direction 1 the
// character before the last line feed that follows the needle's beginning; the end of the text where those
// are missing.
//     MODIFY_INSERT     text is inserted at the target
//     MODIFY_REPLACE    the target up to and including the next line feed is replaced by text, which brings
//                       its own line feed
//     MODIFY_DELETE_TO  what stands between the line of needle and the next occurrence of text is deleted,
//                       nothing when there is none or needle is null; `lines` and direction do not matter
// The file is emptied and written again, so inode, mode and links stay; a crash in between loses its content.
// The shell command "/bin/sync > /dev/null" follows. The text ends at the file's first NUL byte, and the rest
// is lost; so is what others write to the file meanwhile. Debug lines: "Looking for [%s] in [%s] modifying
// with [%s]\n" of needle, path and text; "Couldn't find [%s] in %s\n".
// All results but 0 leave the file unchanged. The error log's entries are of component 310.
// Returns 0  the file was opened again for the changed text; errors while it is written are not told
//     -1     path or text is null; another mode; needle does not occur: "Couldn't find [%s] in %s" in the
//            error log
//     -2     needle is null with MODIFY_INSERT or MODIFY_REPLACE
//     -3     the file cannot be opened for reading and writing, read, or opened again, is too large to be one
//            text with the new one (32 bits), or memory is short: "Couldn't open %s" in the error log
KT_API int modifyTextFile(const char* path, const char* needle, const char* text, unsigned mode,
                          int direction, int lines);

// Stores a new string in *result: from the last line feed of text to the first, each one with the characters
// behind it, up to the next line feed. What stands before the first line feed is left out, so a text without
// any gives an empty string. The block has the length of text + 10 bytes, zeros behind the string.
// Returns 0
//     -1  an argument is null or memory is short; *result is untouched
KT_API int invertStringBuffer(const char* text, char** result);

// The same for the last maxBytes bytes of a file (all of it if it is smaller), up to the first NUL byte in
// them. Takes the memory of the result and a small block on the stack.
// Returns 0
//     -1  path or result is null, or memory is short; *result is untouched
//     -2  the file cannot be opened; *result is untouched
KT_API int invertFile(const char* path, unsigned maxBytes, char** result);

#ifdef __cplusplus
}
#endif

#endif
