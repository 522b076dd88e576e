#include "frame/process.h"

#include <cstdio>
#include <cstring>

#include "internal/command_line.h"
#include "sys/capture.h"
#include "text/bounded.h"
#include "text/convert.h"

char g_processName[KT_PROCESS_NAME_SIZE];
int g_proccessId;
char g_processNameOverride[KT_PROCESS_NAME_OVERRIDE_SIZE];

namespace {

constexpr int kNoName = -1;
constexpr int kNoOutput = -3;
constexpr size_t kCommandSize = 256;
constexpr size_t kPidListSize = 80;

// A daemon may write the override itself, so its terminator is not relied on.
char* copyOverride(char* dest, size_t n) {
    const size_t length = strnlen(g_processNameOverride, sizeof g_processNameOverride);
    const size_t copied = length < n ? length : n - 1;
    memcpy(dest, g_processNameOverride, copied);
    dest[copied] = '\0';
    return dest;
}

}  // namespace

char* getProcessName(int pid, char* dest, size_t n) {
    if (n == 0) {
        return dest;
    }
    if (*g_processNameOverride != '\0') {
        return copyOverride(dest, n);
    }
    const kt::CommandLine<kCommandSize> command(
        "/bin/ps -p %d | /bin/grep '%d' | /usr/bin/cut -d ':' -f 3 | /usr/bin/cut -d ' ' -f 2", pid, pid);
    systemBufferEcho(command.text(), nullptr, dest, n);
    return trimex(dest, '\n');
}

void* setProcessName(const char* name) {
    if (name == nullptr) {
        return nullptr;
    }
    void* end = memccpy(g_processNameOverride, name, '\0', sizeof g_processNameOverride);
    g_processNameOverride[sizeof g_processNameOverride - 1] = '\0';
    return end;
}

int getProcessID(const char* name) {
    char pid[kPidListSize];
    return name == nullptr || systemBufferEcho("/bin/pidof -s", name, pid, sizeof pid) < 0 ? 0
                                                                                           : atoi_s(pid, 0);
}

int checkForMultipleInstances(const char* name, int* firstPid) {
    if (name == nullptr) {
        return kNoName;
    }
    char pids[kPidListSize];
    if (systemBufferEcho("/bin/pidof", name, pids, sizeof pids) < 1) {
        return kNoOutput;
    }
    int pid[3] = {};
    const int count = sscanf(pids, "%d %d %d", &pid[0], &pid[1], &pid[2]);
    if (firstPid != nullptr) {
        *firstPid = pid[0];
    }
    return count;
}
