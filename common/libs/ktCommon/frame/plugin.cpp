#include "frame/plugin.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cctype>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "diag/debug.h"
#include "internal/component_ids.h"
#include "logging.h"
#include "text/bounded.h"

static_assert(offsetof(ProtLibrary, protPeek) == 8 * sizeof(void*));
static_assert(offsetof(ProtLibrary, protServerThreadEnd) == 19 * sizeof(void*));
static_assert(sizeof(ProtLibrary) == 20 * sizeof(void*));
static_assert(offsetof(QilLibrary, qilDoMeAgain) == 5 * sizeof(void*));
static_assert(sizeof(QilLibrary) == 6 * sizeof(void*));
static_assert(offsetof(CilLibrary, cilDoMe) == 5 * sizeof(void*));
static_assert(sizeof(CilLibrary) == 6 * sizeof(void*));

namespace {

constexpr int kNotOpened = -1;
constexpr int kNoName = -2;
constexpr int kFirstMissing = -2;

constexpr size_t kLoaderTextSize = 128;
constexpr size_t kNameSize = 80;

pthread_mutex_t loaderLock = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

// Held while it lives, unless locking fails.
class LoaderLock {
  public:
    LoaderLock(int component, const char* user) : component_(component), user_(user) {
        const int rc = pthread_mutex_lock(&loaderLock);
        isHeld_ = rc == 0;
        if (!isHeld_) {
            logError(component_, "%s pthread_mutex_lock failed, rcMutex: %d", user_, rc);
        }
    }
    ~LoaderLock() {
        const int rc = isHeld_ ? pthread_mutex_unlock(&loaderLock) : 0;
        if (rc != 0) {
            logError(component_, "%s pthread_mutex_unlock failed rcMutex: %d", user_, rc);
        }
    }
    LoaderLock(const LoaderLock&) = delete;
    LoaderLock& operator=(const LoaderLock&) = delete;

  private:
    int component_;
    const char* user_;
    bool isHeld_;
};

// The loader's text for the calling thread. It is told once: whoever has several messages keeps it.
class LoaderText {
  public:
    void take() {
        kt_dlerror(text_, sizeof text_);
        text_[sizeof text_ - 1] = '\0';
    }
    const char* get() const { return text_; }

  private:
    char text_[kLoaderTextSize] = {};
};

void* openLibrary(int component, const char* path, int flags, LoaderText& error) {
    static constexpr char kFunction[] = "kt_dlopen";
    const LoaderLock lock(component, kFunction);
    void* handle = dlopen(path, flags);
    if (handle == nullptr) {
        error.take();
        __debug(__LINE__, "%s failed for: %s, error: %s\n", kFunction, path, error.get());
        logError(component, "%s failed for: %s, error: %s", kFunction, path, error.get());
    }
    return handle;
}

template <typename Table>
struct EntryPoint {
    const char* name;
    void* Table::*slot;
};

constexpr EntryPoint<ProtLibrary> kProtRequired[] = {
    {"protVersion", &ProtLibrary::protVersion},
    {"protOpen", &ProtLibrary::protOpen},
    {"protClose", &ProtLibrary::protClose},
    {"protPeek", &ProtLibrary::protPeek},
    {"protRead", &ProtLibrary::protRead},
    {"protWrite", &ProtLibrary::protWrite},
    {"protRegisterGet", &ProtLibrary::protRegisterGet},
    {"protRegisterSet", &ProtLibrary::protRegisterSet},
};
constexpr EntryPoint<ProtLibrary> kProtOptional[] = {
    {"protStatus", &ProtLibrary::protStatus},
    {"protExt", &ProtLibrary::protExt},
    {"protReadStructured", &ProtLibrary::protReadStructured},
    {"protRegisterCollectionSet", &ProtLibrary::protRegisterCollectionSet},
    {"protRegisterCollectionGet", &ProtLibrary::protRegisterCollectionGet},
    {"protArrayGet", &ProtLibrary::protArrayGet},
    {"protArraySet", &ProtLibrary::protArraySet},
    {"protArrayGetFromLocalServer", &ProtLibrary::protArrayGetFromLocalServer},
    {"protArraySetToLocalServer", &ProtLibrary::protArraySetToLocalServer},
    {"protServerThreadStart", &ProtLibrary::protServerThreadStart},
    {"protServerThreadEnd", &ProtLibrary::protServerThreadEnd},
};
constexpr EntryPoint<QilLibrary> kQilRequired[] = {
    {"qilVersion", &QilLibrary::qilVersion},
    {"qilInit", &QilLibrary::qilInit},
    {"qilDeinit", &QilLibrary::qilDeinit},
    {"qilDoMe", &QilLibrary::qilDoMe},
};
constexpr EntryPoint<QilLibrary> kQilOptional[] = {{"qilDoMeAgain", &QilLibrary::qilDoMeAgain}};
constexpr EntryPoint<CilLibrary> kCilRequired[] = {
    {"cilVersion", &CilLibrary::cilVersion},
    {"cilInit", &CilLibrary::cilInit},
    {"cilDeinit", &CilLibrary::cilDeinit},
    {"cilDoMe", &CilLibrary::cilDoMe},
};
constexpr EntryPoint<CilLibrary> kCilOptional[] = {{"cilExtended", &CilLibrary::cilExtended}};

// Returns 0, or the code of the first entry point that is missing, whose error the loader still has.
template <typename Table, size_t Required, size_t Optional>
int resolve(Table& lib, const EntryPoint<Table> (&required)[Required],
            const EntryPoint<Table> (&optional)[Optional]) {
    int code = kFirstMissing;
    for (const EntryPoint<Table>& entry : required) {
        lib.*entry.slot = dlsym(lib.handle, entry.name);
        if (lib.*entry.slot == nullptr) {
            return code;
        }
        --code;
    }
    for (const EntryPoint<Table>& entry : optional) {
        lib.*entry.slot = dlsym(lib.handle, entry.name);
    }
    dlerror();  // that an optional one is missing is no error
    return 0;
}

// Clears the table and opens the plug-in. Returns 0 or the code of the failure, with the loader's text.
template <typename Table, size_t Required, size_t Optional>
int open(int component, Table& lib, const char* path, int flags, LoaderText& error,
         const EntryPoint<Table> (&required)[Required], const EntryPoint<Table> (&optional)[Optional]) {
    lib = {};
    lib.handle = openLibrary(component, path, flags, error);
    if (lib.handle == nullptr) {
        return kNotOpened;
    }
    const int result = resolve(lib, required, optional);
    if (result != 0) {
        error.take();
    }
    return result;
}

int missingArgument(const void* lib, const char* name) {
    if (lib == nullptr) {
        return kNotOpened;
    }
    return name == nullptr ? kNoName : 0;
}

void capitalise(char* name) {
    *name = static_cast<char>(toupper(static_cast<unsigned char>(*name)));
}

}  // namespace

void* kt_dlopen(int component, const char* path, int flags) {
    LoaderText error;
    return openLibrary(component, path, flags, error);
}

int kt_dlclose(int component, void* handle) {
    const LoaderLock lock(component, __func__);
    if (handle == nullptr) {
        logError(component, "%s failed with handle == NULL", __func__);
        return -1;
    }
    const int result = dlclose(handle);
    if (result != 0) {
        LoaderText error;
        error.take();
        logError(component, "%s failed for handle: 0x%" PRIxPTR ", error: %s", __func__,
                 reinterpret_cast<uintptr_t>(handle), error.get());
    }
    return result;
}

char* kt_dlerror(char* dst, size_t len) {
    const char* text = dlerror();
    return strncpy(dst, text == nullptr ? "" : text, len);
}

int protOpenLibrary(int component, ProtLibrary* lib, const char* name) {
    if (const int missing = missingArgument(lib, name)) {
        return missing;
    }
    char path[80];
    snprintf(path, sizeof path, "/usr/local/lib/ktp%s.pil", name);
    LoaderText error;
    const int result = open(component, *lib, path, RTLD_NOW, error, kProtRequired, kProtOptional);
    if (result != 0) {
        logError(component, "%s: %s", __func__, error.get());
    }
    return result;
}

int qilOpenLibrary(int component, QilLibrary* lib, const char* name) {
    if (const int missing = missingArgument(lib, name)) {
        return missing;
    }
    char ownName[kNameSize];
    strlcpy(ownName, name, sizeof ownName);
    _strlower(ownName);
    capitalise(ownName);
    char path[256];
    snprintf(path, sizeof path, "/usr/local/lib/ktq%s.qil", ownName);
    LoaderText error;
    const int result = open(component, *lib, path, RTLD_LAZY, error, kQilRequired, kQilOptional);
    if (result != 0) {
        logError(kt::component::kQilOwner, "%s: %s", __func__, error.get());
    }
    return result;
}

int cilOpenLibrary(int component, CilLibrary* lib, const char* name) {
    if (const int missing = missingArgument(lib, name)) {
        return missing;
    }
    char ownName[kNameSize];
    strlcpy(ownName, name, sizeof ownName);
    capitalise(ownName);
    char path[128];
    snprintf(path, sizeof path, "/usr/local/lib/ktc%s.cil", ownName);
    LoaderText error;
    const int result = open(component, *lib, path, RTLD_LAZY, error, kCilRequired, kCilOptional);
    if (result == kNotOpened) {
        logError(component, "%s dlOpen FAILED: %s", __func__, error.get());
        __debug(__LINE__, "ERROR: %s\n", error.get());
    }
    return result;
}
