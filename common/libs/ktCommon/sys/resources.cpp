#include "sys/resources.h"

#include <sys/sysinfo.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/process.h"
#include "internal/command_line.h"
#include "sync/sleep.h"
#include "sys/capture.h"
#include "text/bounded.h"
#include "text/convert.h"
#include "text/scan.h"

static_assert(offsetof(DiskSpaceInfo, totalKB) == 20);
static_assert(offsetof(DiskSpaceInfo, usePercent) == 32);
static_assert(offsetof(DiskSpaceInfo, mountPoint) == 52);
static_assert(sizeof(DiskSpaceInfo) == 72);
static_assert(offsetof(MemoryInfo, total) == 20);
static_assert(offsetof(MemoryInfo, column6) == 40);
static_assert(sizeof(MemoryInfo) == 44);
static_assert(offsetof(MemUseInfo, memPercent) == 4);
static_assert(offsetof(MemUseInfo, usedBytes) == 12);
static_assert(offsetof(MemUseInfo, uptime) == 20);
static_assert(sizeof(MemUseInfo) == 84);

namespace {

constexpr int kMissing = -1;
constexpr size_t kListingSize = 4096;
constexpr size_t kShortOutputSize = 256;
constexpr size_t kMemPercentLength = 7;
constexpr size_t kLongestName = 255;
constexpr char kMemoryKey[] = "Mem:";
constexpr char kProcessSearch[] = "ps axv | grep '%s' | grep -v 'grep'";
constexpr size_t kLongestSearch = sizeof kProcessSearch - sizeof "%s" + kLongestName;

using Word = char[KT_RESOURCE_WORD_SIZE];

// What the command prints. Empty when there is nothing.
template <size_t Size, size_t CommandSize>
void capture(const kt::CommandLine<CommandSize>& command, char (&output)[Size]) {
    output[0] = '\0';
    if (command.isWhole()) {
        systemBufferEcho(command.text(), nullptr, output, sizeof output);
    }
}

// Reads words and numbers as scanf does, whatever their length.
class Columns {
  public:
    explicit Columns(const char* text) : at_(text) {}

    // Cut to the field. False, with the field untouched, at the end of the text.
    template <size_t Size>
    bool word(char (&field)[Size]) {
        const char* begin = at_ + strspn(at_, kBlanks);
        const size_t length = strcspn(begin, kBlanks);
        if (length == 0) {
            return false;
        }
        const size_t kept = std::min(length, Size - 1);
        memset(field, 0, Size);
        memcpy(field, begin, kept);
        at_ = begin + length;
        return true;
    }

    // False, with the number untouched, when there is none.
    bool number(int32_t& value) {
        char* end;
        strtol(at_, &end, 10);
        if (end == at_) {
            return false;
        }
        value = atoi_s(at_, 0);
        at_ = end;
        return true;
    }

  private:
    static constexpr char kBlanks[] = " \t\n\v\f\r";

    const char* at_;
};

template <size_t Count>
void readWords(const char* text, Word (&words)[Count]) {
    Columns columns(text);
    for (Word& word : words) {
        columns.word(word);
    }
}

using StatCommand = kt::CommandLine<80>;

int systemTicks(const StatCommand& command) {
    char ticks[80];
    capture(command, ticks);
    return atoi_s(ticks, 0);
}

// Each message is a line of its own.
int complain(const char* message) {
    puts(message);
    return kMissing;
}

int showOutput(const char* output) {
    printf(" --- TempBuff = %s\n", output);
    return kMissing;
}

void storeUptime(MemUseInfo& info) {
    struct sysinfo state = {};
    sysinfo(&state);
    _secsToDHMS(static_cast<unsigned>(state.uptime), info.uptime, sizeof info.uptime);
}

int storeSystemMemory(MemUseInfo& info) {
    char output[kShortOutputSize];
    if (sysBuffEcho_alt("free -b", nullptr, output, sizeof output) == 0) {
        return complain(" -- else !(sysBuffEcho_alt('free -b -o', ...) / return(-1)");
    }
    const char* line = strstr(output, kMemoryKey);
    if (line == nullptr) {
        complain(" -- else !(p1) / return(-1)");
        return showOutput(output);
    }
    Word words[4] = {};
    readWords(line, words);
    info.usedBytes = atoi_s(words[2], 0);
    info.freeBytes = atoi_s(words[3], 0);
    return 0;
}

int storeProcessMemory(MemUseInfo& info, const char* processName) {
    const kt::CommandLine<kLongestSearch + 1> command(kProcessSearch, processName);
    char output[kShortOutputSize] = {};
    if (!command.isWhole() || sysBuffEcho_alt(command.text(), nullptr, output, sizeof output) == 0) {
        complain(" -- else !(sysBuffEcho_alt(cmd_str, ...) / return(-1)");
        printf(" --- cmd_str = %s\n", command.text());
        return showOutput(output);
    }
    const char* columns = strchr(output, '?');
    if (columns == nullptr) {
        columns = strstr(output, "ttymxc6");
    }
    if (columns == nullptr) {
        complain(" -- else !(p2) / return(-1)");
        return showOutput(output);
    }
    Word words[8] = {};
    readWords(columns, words);
    info.rssKB = atoi_s(words[6], 0);
    memcpy(info.memPercent, words[7], kMemPercentLength);
    return 0;
}

}  // namespace

int getDiskUsage(const char* path) {
    if (path == nullptr) {
        return -1;
    }
    char output[2048];
    capture(kt::CommandLine<256>("/usr/bin/du -c %s", path), output);
    char* total = strstr(output, "\ttotal\n");
    if (total == nullptr) {
        return 0;
    }
    *total = '\0';
    const char* lineFeed = strrchr(output, '\n');
    return atoi_s(lineFeed == nullptr ? output : lineFeed + 1, 0);
}

int getFreeDisk(const char* device, DiskSpaceInfo* out) {
    if (device == nullptr) {
        return -1;
    }
    if (out == nullptr) {
        return -2;
    }
    *out = {};
    char output[kListingSize];
    systemBufferEcho("/bin/df -k", nullptr, output, sizeof output);
    const char* line = strstr(output, device);
    if (line == nullptr) {
        return -3;
    }
    Columns columns(line);
    (void)(columns.word(out->filesystem) && columns.number(out->totalKB) && columns.number(out->usedKB) &&
           columns.number(out->availableKB) && columns.word(out->usePercent) &&
           columns.word(out->mountPoint));
    return 0;
}

int getOverlayFreeSpace(DiskSpaceInfo* out) {
    const int result = getFreeDisk("/dev/mapper/cryptroot", out);
    return result >= 0 ? result : getFreeDisk("/dev/root", out);
}

int getFreeMem(MemoryInfo* out) {
    if (out == nullptr) {
        return -1;
    }
    *out = {};
    char output[kListingSize];
    systemBufferEcho("/usr/bin/free -b", nullptr, output, sizeof output);
    const char* line = strstr(output, kMemoryKey);
    if (line == nullptr) {
        return -2;
    }
    Columns columns(line);
    (void)(columns.word(out->label) && columns.number(out->total) && columns.number(out->used) &&
           columns.number(out->free) && columns.number(out->shared) && columns.number(out->column5) &&
           columns.number(out->column6));
    return 0;
}

int getCPULoad(void) {
    char load[20];
    if (systemBufferEcho("/bin/cat /proc/loadavg | /usr/bin/cut -f 1 -d ' '", nullptr, load, sizeof load) ==
        0) {
        return 0;
    }
    return atoi_s(ltrim(strremove(load, '.'), '0'), 0);
}

int getProcessLoading(const char* processName) {
    if (processName == nullptr) {
        puts("Must give process name to show");
        return -1;
    }
    const int pid = getProcessID(processName);
    if (pid == 0) {
        printf("Could not get process ID for [%s]\n", processName);
        return -2;
    }
    const StatCommand command("/bin/cat /proc/%d/stat | cut -d ' ' -f 15", pid);
    const int before = systemTicks(command);
    sleep_s(1);
    return systemTicks(command) - before;
}

int queryMemUse(const char* processName, MemUseInfo* out) {
    if (out == nullptr) {
        return kMissing;
    }
    storeUptime(*out);
    if (storeSystemMemory(*out) != 0) {
        return kMissing;
    }
    return processName == nullptr ? complain(" -- else !(proc_name != NULL) / return(-1)")
                                  : storeProcessMemory(*out, processName);
}
