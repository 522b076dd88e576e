// Addresses of 0x80000000 and above are no negative offsets on the board.
#define _FILE_OFFSET_BITS 64

#include "sys/hardware.h"

#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "internal/component_ids.h"
#include "internal/descriptor.h"
#include "internal/growing_text.h"
#include "internal/service.h"
#include "network.h"

static_assert(sizeof(off_t) == 8);
static_assert(sizeof(unsigned short) == 2 && sizeof(unsigned) == 4);
static_assert(offsetof(NetworkInfo, link) == 8);

namespace {

constexpr char kMemory[] = "/dev/mem";
constexpr unsigned kPageSize = 4096;
constexpr int kNotYetOpen = 0;
constexpr int kFirstFree = 3;  // behind the standard streams: no output may reach the memory

constexpr size_t kKeyBytes = 96;
constexpr size_t kInterfaceNameSize = 128;
constexpr size_t kPieceSize = 128;

static_assert(EVIOCGKEY(kKeyBytes) == 0x80604518);

std::atomic<int> memory{kNotYetOpen};

int openMemory() {
    kt::Descriptor lowest(open(kMemory, O_RDWR | O_SYNC | O_CLOEXEC));
    const bool isFree = !lowest || lowest.get() >= kFirstFree;
    return isFree ? lowest.release() : fcntl(lowest.get(), F_DUPFD_CLOEXEC, kFirstFree);
}

// The process's first use. Negative when it fails.
int firstDescriptor() {
    const int opened = openMemory();
    if (opened < 0) {
        perror("open(\"/dev/mem\")");
    }
    int others = kNotYetOpen;
    if (memory.compare_exchange_strong(others, opened)) {
        return opened;
    }
    const kt::Descriptor spare(opened);  // another thread was faster
    return others;
}

// The register of a width at an address; null when it cannot be reached by one access.
template <typename Register>
class MappedRegister {
  public:
    explicit MappedRegister(unsigned physAddr) {
        void* reg = nullptr;
        page_ = physAddr % sizeof(Register) == 0 ? memmapInit(physAddr, &reg) : nullptr;
        register_ = static_cast<volatile Register*>(reg);
    }
    ~MappedRegister() {
        if (page_ != nullptr) {
            munmap(page_, kPageSize);
        }
    }
    MappedRegister(const MappedRegister&) = delete;
    MappedRegister& operator=(const MappedRegister&) = delete;

    Register get() const { return register_ == nullptr ? Register{0} : *register_; }
    void put(Register value) const {
        if (register_ != nullptr) {
            *register_ = value;
        }
    }

  private:
    void* page_;
    volatile Register* register_;
};

int hasLink(int port) {
    char name[kInterfaceNameSize] = {};
    NetworkInfo info = {};
    getVlanInterfaceName(port, name, sizeof name);
    networkGetInfo(&info, name);
    const int link = info.link != 0 ? 1 : 0;
    clearNWI(&info);
    return link;
}

}  // namespace

void* memmapInit(unsigned physAddr, void** reg) {
    const unsigned offset = physAddr % kPageSize;
    int fd = memory;
    if (fd == kNotYetOpen && (fd = firstDescriptor()) < 0) {
        return nullptr;
    }
    void* page = mmap(nullptr, kPageSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd,
                      static_cast<off_t>(physAddr - offset));
    if (page == MAP_FAILED) {
        perror("mmap()");
        return nullptr;
    }
    *reg = static_cast<char*>(page) + offset;
    return page;
}

unsigned short memmapGetw(unsigned physAddr) {
    return MappedRegister<unsigned short>(physAddr).get();
}

unsigned memmapGetl(unsigned physAddr) {
    return MappedRegister<unsigned>(physAddr).get();
}

int memmapPutw(unsigned physAddr, unsigned short value) {
    MappedRegister<unsigned short>(physAddr).put(value);
    return 0;
}

int memmapPutl(unsigned physAddr, unsigned value) {
    MappedRegister<unsigned>(physAddr).put(value);
    return 0;
}

int isKeyPressed(int fd, int keyCode) {
    unsigned char keys[kKeyBytes] = {};
    if (keyCode < 0 || keyCode >= static_cast<int>(kKeyBytes * CHAR_BIT)) {
        return 1;
    }
    ioctl(fd, EVIOCGKEY(kKeyBytes), keys);
    const auto key = static_cast<unsigned>(keyCode);
    return (keys[key / CHAR_BIT] >> key % CHAR_BIT & 1) != 0 ? 0 : 1;
}

int chkLinkState(int* link1, int* link2) {
    *link1 = hasLink(1);
    *link2 = hasLink(2);
    return 0;
}

char* _getSerialThreadValue(const char* request) {
    if (request == nullptr) {
        return nullptr;
    }
    const kt::Service serialPorts(kt::component::kSerialPorts);
    if (!serialPorts) {
        puts("_getSerialThreadValue, socketOpenWriter FAILED.");
        return nullptr;
    }
    serialPorts.send(request, strlen(request));
    kt::GrowingText reply;
    char piece[kPieceSize];
    ssize_t received;
    while ((received = serialPorts.receive(piece, sizeof piece)) > 0) {
        if (!reply.append(piece, strnlen(piece, static_cast<size_t>(received)))) {
            return nullptr;
        }
    }
    return reply.release();
}
