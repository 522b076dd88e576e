// A sample daemon: debug options from the command line, a debug command port with commands of its own, fault
// reports, and one debug line a second until another process, `gwdemo stop`, asks it to end.
#include <ktcommon.h>
#include <ktpdemo.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Shows what a daemon leaves behind when it dies. Only functions of external linkage have names in its report.
int dieOfFault(char* /*args*/, char** /*reply*/) {
    testSigFault();
}

namespace {

constexpr char kName[] = "gwdemo";
constexpr int kComponent = 390;  // in the logs; that of no other daemon
constexpr int kCannotStart = 2;
constexpr int kRunsAlready = 3;

std::atomic<bool> ending, rebooting;
std::atomic<int> ticks;

void end() {
    ending = true;
}

int showTicks(char* /*args*/, char** reply) {
    sprintf_x(reply, "%d ticks so far\n", ticks.load());
    return 0;
}

// Leaves the reply empty, so the client is told the code.
int resetTicks(char* /*args*/, char** /*reply*/) {
    ticks = 0;
    return 5;
}

// Prepares a reset of the unit to factory defaults. A reboot is left to main, where nothing waits for it.
int resetUnit(char* args, char** reply) {
    const int type = atoi_s(args, -1);
    if (type == RESET_REBOOT) {
        rebooting = true;
        end();
    }
    sprintf_x(reply, "reset %d: %d\n", type, rebooting ? 0 : initiateSystemReset(type));
    return 0;
}

// Shows the beginning of a file of the unit as bytes.
int dumpFile(char* args, char** reply) {
    unsigned char bytes[128];
    char text[1024];
    const int size = args == nullptr ? -1 : fileGetByteContents(bytes, sizeof bytes, "%s", args);
    sprintf_x(reply, "%s", size < 1 ? "nothing there\n" : strHexout(bytes, size, text, sizeof text, 0));
    return 0;
}

int showChecksum(char* args, char** reply) {
    int size = 0;
    char* contents = fileGetContents(args, &size);
    const auto* bytes = reinterpret_cast<const unsigned char*>(contents);
    sprintf_x(reply, "%d bytes, CRC-32 0x%08X\n", size, CRC32_x(0, bytes, static_cast<unsigned>(size)));
    free(contents);
    return 0;
}

// What a maintainer asks first.
int showStatus(char* /*args*/, char** reply) {
    MemoryInfo memory;
    DiskSpaceInfo disk;
    getFreeMem(&memory);
    getOverlayFreeSpace(&disk);
    sprintf_x(reply, "load %d %%, %d of %d bytes of memory free, %d KB of %s\n", getCPULoad(), memory.free,
              memory.total, disk.availableKB, disk.filesystem);
    return 0;
}

// When a job would run next that runs every so many UNITs.
int showNextRun(char* args, char** reply) {
    const char* unit = args == nullptr ? nullptr : strchr(args, ' ');
    const time_t next =
        getNextTime(0, static_cast<unsigned>(atoi_s(args, 0)), unit == nullptr ? nullptr : unit + 1);
    char* date = formatTimeDate(next, nullptr);
    sprintf_x(reply, "next run: %s\n", next > 0 ? date : "never");
    free(date);
    return 0;
}

int setTimeServer(char* args, char** reply) {
    sprintf_x(reply, "time server: %d\n", updateNtpConf("NTP", args));
    return 0;
}

int cleanTraces(char* /*args*/, char** /*reply*/) {
    return cleanOldTracerFiles();
}

// Writes a register by the protocol driver "demo", a plug-in, and reads it again.
int useDriver(char* args, char** reply) {
    ProtLibrary driver;
    const int number = atoi_s(args, 0);
    int value = 0;
    const int code = protOpenLibrary(kComponent, &driver, "demo");
    if (code == 0) {
        reinterpret_cast<decltype(&protOpen)>(driver.protOpen)();
        reinterpret_cast<decltype(&protWrite)>(driver.protWrite)(number, 10 * number);
        reinterpret_cast<decltype(&protRead)>(driver.protRead)(number, &value);
        reinterpret_cast<decltype(&protClose)>(driver.protClose)();
    }
    sprintf_x(reply, "driver: %d, register %d: %d\n", code, number, value);
    if (driver.handle != nullptr) {
        kt_dlclose(kComponent, driver.handle);
    }
    return 0;
}

int showSerialValue(char* args, char** reply) {
    char* value = _getSerialThreadValue(args);
    sprintf_x(reply, "%s\n", value == nullptr ? "no answer" : value);
    free(value);
    return 0;
}

int listCommands(char* /*args*/, char** reply) {
    sprintf_x(reply,
              "gwdemo commands\n  ticks\n  reset\n  status\n  next COUNT UNIT\n  ntp SERVER\n  clean\n  "
              "driver REGISTER\n  serial NAME\n"
              "  dump FILE\n  checksum FILE\n  factory TYPE\n  fault\n");
    return 0;
}

CmdEntry commands[] = {
    {"ticks", showTicks},   {"reset", resetTicks},      {"status", showStatus}, {"next", showNextRun},
    {"ntp", setTimeServer}, {"clean", cleanTraces},     {"driver", useDriver},  {"serial", showSerialValue},
    {"dump", dumpFile},     {"checksum", showChecksum}, {"factory", resetUnit}, {"fault", dieOfFault},
    {"?", listCommands},    {nullptr, nullptr},
};

int run() {
    if (g_threadIdDebugListener == 0) {
        printf("%s runs already\n", kName);
        return kRunsAlready;
    }
    initShutdownMonitor(kName, end);
    showProductInfo();
    fflush(stdout);
    while (!ending) {
        __debug(__LINE__, "tick %d\n", ++ticks);
        sleep_s(1);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const char* argument = argc > 1 ? argv[1] : nullptr;
    if (argument != nullptr && strcmp(argument, "stop") == 0) {
        return SignalModuleShutdown(kName);
    }
    signal(SIGTERM, [](int) { end(); });
    signal(SIGINT, [](int) { end(); });
    _debugSetOptions(argument, nullptr);
    const int status = libraryInit(commands) == 0 ? run() : kCannotStart;
    libraryDeinit();
    if (rebooting) {
        initiateSystemReset(RESET_REBOOT);
    }
    return status;
}
