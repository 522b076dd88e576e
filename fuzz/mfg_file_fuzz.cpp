// What was loaded from any file can be written and loaded again.
#include <logging.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "target.h"

void logError(int, const char*, ...) {}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const int file = memfd_create("mfg.conf", MFD_CLOEXEC);
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    require(ftruncate(file, 0) == 0 && pwrite(file, data, size, 0) == static_cast<ssize_t>(size));
    MfgConfigSet first, second, third;
    require(Mfg_LoadMfgConfigSet(&first, path.c_str()) == 0 &&
            Mfg_SerializeConfigSet(&first, path.c_str()) == 0);
    require(Mfg_LoadMfgConfigSet(&second, path.c_str()) == 0 &&
            Mfg_SerializeConfigSet(&second, path.c_str()) == 0);
    require(Mfg_LoadMfgConfigSet(&third, path.c_str()) == 0 && memcmp(&second, &third, sizeof third) == 0);
    const int range = Mfg_RetrieveMacRangeEx(&first);
    for (const int index : {-1, 0, range - 1, range}) {
        char* address = nullptr;
        const bool isFound = Mfg_RetrieveRegisteredMacAddressEx(&first, index, &address) == 0;
        require(isFound ? index >= 0 && index < range && strlen(address) == 17 : address == nullptr);
        free(address);
    }
    return 0;
}
