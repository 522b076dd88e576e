// On the board, too, captures grow beyond 2 GiB, and times beyond 2038: with less, stat fails for them.
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64

#include "diag/trace_files.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <ctime>

#include "diag/debug.h"
#include "internal/component_ids.h"
#include "internal/fields.h"
#include "internal/growing_text.h"
#include "internal/heap_text.h"
#include "internal/released_by.h"
#include "internal/uncancelled.h"
#include "logging.h"
#include "tags.h"
#include "text/bounded.h"
#include "text/convert.h"
#include "text/growable.h"

namespace {

constexpr int64_t kLongestAge = 864000;
constexpr size_t kLongestName = 250;
constexpr char kNeedParameters[] = "Need_file_params";

void closeDirectory(DIR* directory) {
    const kt::Uncancelled uncancelled;
    closedir(directory);
}
using Directory = kt::Owned<DIR, closeDirectory>;

bool isTraceFile(const char* name) {
    return strstr(name, ".log") != nullptr || strstr(name, ".pcap") != nullptr;
}

void deleteIfOld(const char* name) {
    const kt::HeapText path = kt::formatted("%s%s", TRACE_PATH, name);
    struct stat state;
    if (path == nullptr || stat(path.get(), &state) != 0) {
        return;
    }
    const int64_t age = int64_t{time(nullptr)} - state.st_mtime;
    if (age <= 0) {
        __debug(__LINE__, " - cleanOldTracerFiles() / %s / fileAge = %ld(sec)\n", name,
                static_cast<long>(std::max<int64_t>(age, LONG_MIN)));
    } else if (age > kLongestAge) {
        __debug(__LINE__, " - cleanOldTracerFiles() / file '%s' is > 10days old, deleting.\n", path.get());
        logEngMessage(kt::component::kTracer, "File '%s' is > 10 days old, deleting", name);
        unlink(path.get());
    }
}

// False without memory.
bool appendValues(kt::GrowingText& name, const char* tagIds, const char* separator) {
    kt::Fields ids(tagIds);
    bool isWhole = static_cast<bool>(ids);
    const char* between = nullptr;
    while (char* id = isWhole ? ids.next(",") : nullptr) {
        const int tag = atoi_s(rtrim(ltrim(id, '{'), '}'), 0);
        const kt::HeapText value(getTagValueByID(nullptr, tag, nullptr, 0));
        isWhole = name.append(between) && name.append(value.get());
        between = separator;
    }
    return isWhole;
}

void makeFileName(char* text) {
    strremove(strremove(strreplace(text, ' ', '_'), ':'), '/');
}

}  // namespace

int cleanOldTracerFiles(void) {
    const Directory directory(opendir(TRACE_PATH));
    while (const struct dirent* entry = directory == nullptr ? nullptr : readdir(directory.get())) {
        if (isTraceFile(entry->d_name)) {
            deleteIfOld(entry->d_name);
        }
    }
    return 0;
}

char* buildOutputFilename(const char* prefix, const char* tagIds, const char* separator, const char* suffix) {
    if (tagIds == nullptr) {
        return strdup_s(kNeedParameters);
    }
    kt::GrowingText name;
    if (!name.append(prefix)) {
        return nullptr;
    }
    const size_t prefixLength = strlen(name.get());
    if (!appendValues(name, tagIds, separator)) {
        return nullptr;
    }
    makeFileName(name.get() + prefixLength);
    const size_t length = strlen(name.get());
    const size_t suffixLength = suffix == nullptr ? 0 : std::min(strlen(suffix), kLongestName);
    name.cutTo(length > kLongestName ? kLongestName - suffixLength : length);
    return name.append(suffix) ? name.release() : nullptr;
}
