#include "network.h"

#include <fcntl.h>
#include <net/if.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "guards.h"
#include "layout.h"

using kt::siblings::CallGuard;
using kt::siblings::Descriptor;
using kt::siblings::kInterfaces;

static_assert(sizeof(NetworkInfo) == 12);
static_assert(offsetof(NetworkInfo, link) == 2 * sizeof(uint32_t));

namespace {

constexpr const char* kPortInterfaces[] = {"eth0", "eth1"};
constexpr int kPortCount = 2;

// A name of the kernel's form, which cannot lead out of the directory of the interfaces.
bool isInterfaceName(const char* name) {
    const size_t length = strnlen(name, IFNAMSIZ);
    return length > 0 && length < IFNAMSIZ && !strchr(name, '/') && strcmp(name, ".") != 0 &&
           strcmp(name, "..") != 0;
}

Descriptor openInterface(const char* name) {
    char path[64];
    snprintf(path, sizeof path, "%s/%s", kInterfaces, name);
    return Descriptor(open(path, O_PATH | O_DIRECTORY | O_CLOEXEC));
}

// 0 when the attribute is missing or cannot be read: the kernel refuses the carrier of an interface that is
// down.
uint32_t readAttribute(const Descriptor& interface, const char* name) {
    const Descriptor file(openat(interface.get(), name, O_RDONLY | O_CLOEXEC));
    char text[32];
    ssize_t length = -1;
    do {
        length = read(file.get(), text, sizeof text - 1);
    } while (length < 0 && errno == EINTR);
    if (length <= 0) {
        return 0;
    }
    text[length] = '\0';
    return static_cast<uint32_t>(strtoul(text, nullptr, 0));
}

}  // namespace

int getVlanInterfaceName(int port, char* name, int size) {
    if (!name || size <= 0) {
        return -1;
    }
    name[0] = '\0';
    if (port < 1 || port > kPortCount) {
        return -1;
    }
    const char* interface = kPortInterfaces[port - 1];
    const size_t needed = strlen(interface) + 1;
    if (needed > static_cast<size_t>(size)) {
        return -1;
    }
    memcpy(name, interface, needed);
    return 0;
}

int networkGetInfo(NetworkInfo* record, const char* name) {
    *record = {};
    if (!name || !isInterfaceName(name)) {
        return -1;
    }
    const CallGuard guard;
    const Descriptor interface = openInterface(name);
    if (!interface.valid()) {
        return -1;
    }
    record->index = readAttribute(interface, "ifindex");
    record->flags = readAttribute(interface, "flags");
    record->link = readAttribute(interface, "carrier") != 0 ? 1 : 0;
    return 0;
}

void clearNWI(NetworkInfo* record) {
    if (record) {
        *record = {};
    }
}
