#include "frame/reset.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdlib>

#include "config_data.h"
#include "diag/debug.h"
#include "diag/trace_files.h"
#include "internal/command_line.h"
#include "internal/component_ids.h"
#include "internal/heap_text.h"
#include "internal/reboot_unit.h"
#include "logging.h"
#include "sync/semaphore.h"
#include "sys/shell.h"
#include "text/growable.h"

const char NETPANEL_CONF_FILE[] = "/usr/local/data/netpanel.conf";

namespace {

constexpr size_t kLongestCommand = 254;
constexpr unsigned kSleepSeconds = 10;

// Past systemEx: neither written as a debug line nor kept back by another command.
void runUnlogged(const char* command) {
    (void)!system(command);
}

// Of a path that is too long the beginning would go, which is another file.
void removeTree(const char* path) {
    const kt::CommandLine<kLongestCommand + 1> command("/bin/rm -rf %s", path);
    __debug(__LINE__, "%s\n", command.text());
    if (command.isWhole()) {
        systemEx("%s", command.text());
    }
}

// Of an empty path "/*" would go.
void emptyLogs() {
    if (*LOG_PATH == '\0') {
        return;
    }
    systemEx("/bin/cp %s/reboot /tmp", LOG_PATH);
    systemEx("/bin/rm -fr %s/*", LOG_PATH);
    systemEx("/bin/cp /tmp/reboot %s", LOG_PATH);
}

void emptyTraces() {
    if (*TRACE_PATH != '\0') {
        systemEx("/bin/rm -f %s*", TRACE_PATH);
    }
}

int resetToDefaults(const char* reason, bool withNetwork) {
    logReboot(kt::component::kCommon, reason);
    const int result = prepForSystemResetToDefaults();
    return result == 0 && withNetwork ? prepForNetworkResetToDefaults() : result;
}

}  // namespace

int initiateSystemReset(int resetType) {
    __debug(__LINE__, "\n - %s entry, resetType = %d\n", __func__, resetType);
    switch (resetType) {
        case RESET_REBOOT:
            eject(kt::component::kCommon, "-- System is initiating a reboot.");
        case RESET_OUT_OF_BOX:
            return resetToDefaults("System is initiating a NEM out-of-box reset.", true);
        case RESET_OUT_OF_BOX_NO_COMMS:
            return resetToDefaults("System is initiating a NEM out-of-box reset excluding communications.",
                                   false);
        default:
            logReboot(kt::component::kCommon, "System has encountered an invalid RESET command.");
            return -1;
    }
}

int prepForSystemResetToDefaults(void) {
    __debug(__LINE__, "\n - %s entry\n", __func__);
    runUnlogged("/bin/rm -fr /usr/local/data/retries");
    runUnlogged("/bin/mkdir -p /usr/local/data/retries");
    runUnlogged("/bin/rm -f /usr/local/data/*.backup");
    runUnlogged("/bin/rm -f /usr/local/data/*.BACKUP");
    removeTree(SQL_MAIN_DB_NAME);
    removeTree(SQL_RBAC_DB_NAME);
    __debug(__LINE__, "\n");
    emptyLogs();
    emptyTraces();
    runUnlogged("/bin/sync");
    return 0;
}

int prepForNetworkResetToDefaults(void) {
    __debug(__LINE__, "\n - %s entry\n", __func__);
    removeTree(NETPANEL_CONF_FILE);
    __debug(__LINE__, "\n");
    runUnlogged("/bin/sync");
    return 0;
}

void eject(int component, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    {
        const kt::HeapText message(formatVAString(fmt, ap));
        logReboot(component, message == nullptr ? fmt : message.get());
    }
    va_end(ap);
    systemEx("/usr/local/bin/plimb reboot");
    for (;;) {
        sleep(kSleepSeconds);
    }
}

int kt::rebootUnit() {
    (void)!chdir("/");
    runUnlogged("/bin/sync");
    return system("/sbin/shutdown now -r -F");
}

int reboot(void) {
    return kt::rebootUnit();
}

int ClearGlobalProtocolSemaphores(void) {
    systemEx("/bin/rm -f %s/sem.prot_*.sem", SEMAPHORE_DIRECTORY);
    __debug(__LINE__, "Cleared protocol semaphores\n");
    return 0;
}
