#include "frame/product.h"

#include <strings.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "frame/mfg_config.h"
#include "internal/build_stamps.h"
#include "internal/component_ids.h"
#include "internal/config_row.h"
#include "internal/full_sleep.h"
#include "internal/heap_text.h"
#include "internal/reboot_unit.h"
#include "internal/stdout_lock.h"
#include "internal/whole_file.h"
#include "logging.h"
#include "sys/capture.h"
#include "sys/shell.h"
#include "text/bounded.h"
#include "text/growable.h"

static_assert(offsetof(ProductInfo, modelNumberOrd) == 152);
static_assert(offsetof(ProductInfo, serialNumber) == 156);
static_assert(offsetof(ProductInfo, version) == 246);
static_assert(offsetof(ProductInfo, macAddress) == 356);
static_assert(sizeof(ProductInfo) == 388);
static_assert(sizeof(PackageVersion) == 12);

ProductInfo g_ProductInfo;

const char PRODUCT_CLASS_GATEWAY[] = "Gateway";
const char KTCOMMON_VERSION_STRING[] = "0.01";
const PackageVersion packageVersion = {1, 0.01F, 0};
const char VERSION_STAMP_FILE[] = "/usr/local/data/versionStamp.tmp";

namespace {

constexpr int kModelNumberOrd = 5;
constexpr char kVendorId[] = "Marrowby";
constexpr size_t kMfgTextSize = 1024;
constexpr size_t kRevisionTextSize = 256;
constexpr size_t kPartitionTextSize = 1024;
constexpr std::chrono::seconds kInterfaceDownPause{2};
constexpr std::chrono::seconds kLineSettlingPause{5};

std::atomic<bool> isFilled;

// Each look-up hides what stands below its line, hence from the last line of the file to the first.
struct MfgValue {
    const char* key;
    char (ProductInfo::*field)[KT_PRODUCT_TEXT_SIZE];
};
constexpr MfgValue kMfgValues[] = {
    {"macAddress=", &ProductInfo::macAddress},     {"vendormodel=", &ProductInfo::vendorModel},
    {"serial=", &ProductInfo::serialNumber},       {"modelNumber=", &ProductInfo::modelNumber},
    {"customerCode=", &ProductInfo::customerCode}, {"productID=", &ProductInfo::productId},
    {"productName=", &ProductInfo::productName},
};

struct RevisionLine {
    const char* command;
    const char* label;
};
constexpr RevisionLine kRevisionLines[] = {
    {"busybox | head -1", "busybox:           "},
    {"uname -r", "kernel release:    "},
    {"uname -v", "kernel version:    "},
    {"uname -p", "kernel processor:  "},
    {"uname -o", "kernel OS:         "},
    {"uname --version | grep 'Copyright'", "kernel copyright:  "},
    {"uname --version | grep 'License'", "kernel license:    "},
};

template <size_t Size>
void store(char (&field)[Size], const char* value) {
    strlcpy(field, value, Size);
}

// False when it cannot be opened. `text` has its beginning, and zeros behind.
bool readMfgText(char (&text)[kMfgTextSize]) {
    kt::InputFile file(MFG_CONF_FILE);
    if (!file) {
        return false;
    }
    file.read(text, kMfgTextSize - 1);
    return true;
}

void rebootForMfgText() {
    logError(kt::component::kCommon, "mfg.conf missing/damaged recreating");
    printf("ktcommon - mfg.conf missing/damaged");
    fflush(stdout);
    kt::rebootUnit();
}

void fillRecord(char* mfgText) {
    ProductInfo& info = g_ProductInfo;
    info = {};
    store(info.productClass, PRODUCT_CLASS_GATEWAY);
    _getProcessor(info.processor, sizeof info.processor);
    _getVersion(&info);
    _getVendorID(&info);
    for (const MfgValue& wanted : kMfgValues) {
        if (const char* value = _getTargetValue(mfgText, wanted.key)) {
            store(info.*wanted.field, value);
        }
    }
    info.modelNumberOrd = kModelNumberOrd;
    kt::readConfigRow("databaseSchema", info.databaseSchema);
}

const ProductInfo& filledRecord() {
    ProductInfo* info;
    getProductInfo(&info);
    return *info;
}

const char* programLine(const char* target) {
    const bool isExpansion =
        target != nullptr && (strstr(target, "/mtd5") != nullptr || strstr(target, "/mtd7") != nullptr ||
                              strstr(target, "exp") != nullptr);
    return isExpansion ? FPGA_PROG_B_EXP : FPGA_PROG_B_MAIN;
}

}  // namespace

int getProductInfo(ProductInfo** info) {
    char mfgText[kMfgTextSize] = {};
    if (info == nullptr) {
        return -1;
    }
    if (!isFilled.load(std::memory_order_acquire)) {
        systemEx("/usr/local/bin/rax -r -m");
        if (!readMfgText(mfgText)) {
            rebootForMfgText();
        }
        fillRecord(mfgText);
        isFilled.store(true, std::memory_order_release);
    }
    *info = &g_ProductInfo;
    return 0;
}

int showProductInfo(void) {
    const ProductInfo& info = filledRecord();
    const kt::StdoutLock lock;
    puts("Product Info");
    printf("  Product Class:      %s\n", info.productClass);
    printf("  Product Name:       %s\n", info.productName);
    printf("  Product ID:         %s\n", info.productId);
    printf("  Model Number:       %s\n", info.modelNumber);
    printf("  Model Number Ord:   %d\n", info.modelNumberOrd);
    printf("  Serial Number:      %s\n", info.serialNumber);
    printf("  Customer Code:      %s\n", info.customerCode);
    printf("  Version:            %s\n", info.version);
    printf("  Vendor ID:          %s\n\n", info.vendorId);
    puts("MAC Info");
    printf("  MAC Address:        %s\n\n", info.macAddress);
    puts("Version Info");
    printf("  Database Schema:    %s\n", info.databaseSchema);
    puts("Features");
    puts("Sanity Check");
    return 0;
}

int whoAreWe(char* model) {
    const ProductInfo& info = filledRecord();
    if (model != nullptr) {
        strlcpy(model, info.modelNumber, sizeof info.modelNumber);
    }
    return info.modelNumberOrd;
}

const char* versionTag(void) {
    return kt::kBuildVersion;
}

int showRevision(void) {
    const kt::StdoutLock lock;
    printf("Project: %s\n", PRODUCT_CLASS_GATEWAY);
    printf("Version: %s\n", kt::kBuildVersion);
    printf("Compiled By: %s\n", kt::kBuildUser);
    printf("On: %s\n", kt::kBuildMachine);
    return printf("At: %s\n\n", kt::kBuildTime);
}

int showRevisionExtended(void) {
    int printed =
        printf("Project:           %s / %s / %s\n", PRODUCT_CLASS_GATEWAY, kt::kBuildVersion, kt::kBuildTime);
    for (const RevisionLine& line : kRevisionLines) {
        char text[kRevisionTextSize] = {};
        systemBufferEcho(line.command, nullptr, text, sizeof text - 1);
        printed = printf("%s%s", line.label, text);
    }
    return printed;
}

char* getCurrentBootPartition(void) {
    kt::HeapText partition(strfill(0, kPartitionTextSize));
    const bool isTold = partition != nullptr &&
                        systemBufferEcho("abget rfs", nullptr, partition.get(), kPartitionTextSize) >= 0;
    return isTold ? partition.release() : nullptr;
}

int managePROG_B(const char* target, int level) {
    if (strcasecmp(filledRecord().productClass, PRODUCT_CLASS_GATEWAY) != 0) {
        systemEx("/sbin/ifconfig eth1 down");
        kt::sleepFully(kInterfaceDownPause);
    }
    systemEx("/bin/echo %d > %s", level, programLine(target));
    printf("%s PROG_B\n", level != 0 ? "Releasing" : "Holding");
    kt::sleepFully(kLineSettlingPause);
    return 0;
}

int _getVersion(ProductInfo* info) {
    if (info == nullptr) {
        return -1;
    }
    store(g_ProductInfo.version, kt::kBuildVersion);
    return 0;
}

int _getVendorID(ProductInfo* info) {
    if (info == nullptr) {
        return -1;
    }
    store(g_ProductInfo.vendorId, kVendorId);
    return 0;
}

int _getProcessor(char* buf, int size) {
    const int length = systemBufferEcho("grep Processor /proc/cpuinfo | sed -n 's/.*: //p'", nullptr, buf,
                                        static_cast<size_t>(std::max(size, 0)));
    return length < 1 ? length : strstrip(buf, "\n");
}

char* _getTargetValue(char* text, const char* key) {
    char* found = strstr(text, key);
    if (found == nullptr) {
        return nullptr;
    }
    char* value = found + strlen(key);
    char* lineFeed = strchr(value, '\n');
    if (lineFeed == nullptr) {
        return nullptr;
    }
    *lineFeed = '\0';
    return trim(value);
}
