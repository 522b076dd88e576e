// Whatever the board's tools and the configuration say, words are cut and the columns behind them read as scanf
// does.
#include <config_data.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <string>

#include "target.h"

namespace {

std::string told;

int tell(char* output, size_t size) {
    const size_t kept = std::min(told.size(), size - 1);
    memcpy(output, told.data(), kept);
    output[kept] = '\0';
    return static_cast<int>(kept);
}

int clamped(long long number) { return static_cast<int>(std::clamp<long long>(number, INT_MIN, INT_MAX)); }

void requireDisk() {
    char words[3][4096] = {};
    long long sizes[3] = {};
    const char* line = strchr(told.c_str(), '/');
    DiskSpaceInfo info;
    require(getFreeDisk("/", &info) == (line == nullptr ? -3 : 0));
    sscanf(line == nullptr ? "" : line, "%4095s %lld %lld %lld %4095s %4095s", words[0], &sizes[0], &sizes[1],
           &sizes[2], words[1], words[2]);
    const auto isCut = [](const char* field, const char* word) {
        return std::string(word).substr(0, 19) == field;
    };
    require(isCut(info.filesystem, words[0]) && isCut(info.usePercent, words[1]) &&
            isCut(info.mountPoint, words[2]));
    require(info.totalKB == clamped(sizes[0]) && info.usedKB == clamped(sizes[1]));
    require(info.availableKB == clamped(sizes[2]));
}

}  // namespace

int systemBufferEcho(const char*, const char*, char* output, size_t size) { return tell(output, size); }

int sysBuffEcho_alt(const char*, const char*, char* output, size_t size) { return tell(output, size); }

int dalGetConfigRowValue1(const char*, int, char* value, int size) {
    return tell(value, static_cast<size_t>(size));
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static FILE* const nowhere = freopen("/dev/null", "w", stdout);
    told = textOf(data, std::min<size_t>(size, 4095), 0).data();
    requireDisk();
    MemoryInfo memory;
    MemUseInfo use = {};
    require(getFreeMem(&memory) == (strstr(told.c_str(), "Mem:") == nullptr ? -2 : 0));
    require(queryMemUse("x", &use) <= 0 && use.memPercent[7] == '\0' && nowhere != nullptr);
    require(getDiskUsage("x") == 0 || strstr(told.c_str(), "\ttotal\n") != nullptr);
    getCPULoad();
    const auto moment = static_cast<int32_t>(told.size() * 0x9E3779B1);
    require(convertWPTime(convertWPTime(moment, 0), 1) == moment);
    return 0;
}
