// Plug-in libraries: opened by their short names, their entry points resolved into the caller's table.
//
// kt_dlopen and kt_dlclose hold one lock of the process around dlopen, dlclose and the reading of the
// loader's error text, so libraries are never loaded or unloaded by two threads at the same time. A plug-in
// may use them itself while it is loaded or unloaded, in its own thread: the lock is recursive. Should locking
// fail, that is an entry of the error log, and the operation runs without it.
//
// component: the caller's component id, for its entries in the error log. Every function may run in any thread
// and blocks for as long as the file system and the initialisers of the library do, and is a cancellation point
// when it fails to open; a cancelled one leaves the lock. kt_dlerror is none and does not block. errno is not
// kept. Not for signal handlers.
#ifndef KT_FRAME_PLUGIN_H
#define KT_FRAME_PLUGIN_H

#include <stddef.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

// The tables: the handle and the addresses of the entry points, each called like its slot. Their signatures
// are between plug-in and daemon.

// A protocol driver, "/usr/local/lib/ktp%s.pil".
typedef struct ProtLibrary {
    void* handle;
    void* protVersion;
    void* protOpen;
    void* protClose;
    void* protRead;
    void* protWrite;
    void* protRegisterGet;
    void* protRegisterSet;
    void* protPeek;
    void* protStatus;  // optional from here on: null when the library has none
    void* protExt;
    void* protReadStructured;
    void* protRegisterCollectionSet;
    void* protRegisterCollectionGet;
    void* protArrayGet;
    void* protArraySet;
    void* protArrayGetFromLocalServer;
    void* protArraySetToLocalServer;
    void* protServerThreadStart;
    void* protServerThreadEnd;
} ProtLibrary;

// "/usr/local/lib/ktq%s.qil"
typedef struct QilLibrary {
    void* handle;
    void* qilVersion;
    void* qilInit;
    void* qilDeinit;
    void* qilDoMe;
    void* qilDoMeAgain;  // optional
} QilLibrary;

// "/usr/local/lib/ktc%s.cil"
typedef struct CilLibrary {
    void* handle;
    void* cilVersion;
    void* cilInit;
    void* cilDeinit;
    void* cilExtended;  // optional
    void* cilDoMe;
} CilLibrary;

// dlopen with the lock held. A failure is told as "kt_dlopen failed for: %s, error: %s" in a debug line and in
// the error log: path and the loader's text, cut to 127 characters.
// Returns the handle, to be closed by kt_dlclose; null on failure.
KT_API void* kt_dlopen(int component, const char* path, int flags) KT_WARN_UNUSED;

// dlclose with the lock held. A failure goes to the error log.
// Returns 0, or the result of dlclose
//     -1  handle is null
KT_API int kt_dlclose(int component, void* handle);

// Takes the calling thread's last error of the loader, which is gone then, and clears the rest of dst (not
// null, len bytes). A text of len characters and more is cut and not terminated. No error gives an empty text.
// kt_dlopen and the functions below have already taken the text of what they report.
// Returns dst.
KT_API char* kt_dlerror(char* dst, size_t len);

// Clear the table, open the plug-in of that short name and resolve its entry points: the required ones in the
// order of the results below, which ends at the first that is missing, then the optional ones. A name may be
// in the table of two calls: the loader counts.
//     protOpenLibrary  name as it is; all symbols bound at once (RTLD_NOW)
//     qilOpenLibrary   name in lower case but for its first letter, which is in upper case; bound when used
//     cilOpenLibrary   name with its first letter in upper case; bound when used
// A path longer than 79, 255 and 127 characters is cut, and so are names for the latter two to 79.
// Failures to open or resolve are entries of the error log, with the loader's text: "protOpenLibrary: %s";
// "qilOpenLibrary: %s", always of component 337; "cilOpenLibrary dlOpen FAILED: %s" and a debug line, for
// opening only. They come behind that of kt_dlopen.
// The handle stays the caller's in each case: who does not go on with it closes it by kt_dlclose.
// Return 0  all required entry points are there
//    -1     lib is null; or the file could not be opened, and the table is all zero
//    -2     name is null, and the table untouched; or the ...Version is missing
//    -3     protOpen          qilInit     cilInit      is missing
//    -4     protClose         qilDeinit   cilDeinit    is missing
//    -5     protPeek          qilDoMe     cilDoMe      is missing
//    -6     protRead          is missing
//    -7     protWrite         is missing
//    -8     protRegisterGet   is missing
//    -9     protRegisterSet   is missing
KT_API int protOpenLibrary(int component, ProtLibrary* lib, const char* name);
KT_API int qilOpenLibrary(int component, QilLibrary* lib, const char* name);
KT_API int cilOpenLibrary(int component, CilLibrary* lib, const char* name);

#ifdef __cplusplus
}
#endif

#endif
