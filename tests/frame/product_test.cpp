// Runs in a virtual unit that records its reboots. The record is filled once in a process, hence the children.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <thread>

#include "support/debug_lines.h"
#include "support/files.h"
#include "support/forked_child.h"

namespace {

using namespace std::string_literals;
using namespace kt::test;

constexpr char kMfgFile[] = "/usr/local/data/mfg.conf";
const std::string kDefaults = contentsOf(kMfgFile);

// A fresh process whose failures count here.
template <typename Body>
void inFreshProcess(Body body) {
    EXPECT_EQ(inChild([&] { return body(), testing::Test::HasFailure() ? 1 : 0; }), 0);
}

std::string mfgFields(const ProductInfo& info) {
    std::string fields;
    for (const char* field : {info.productName, info.productId, info.modelNumber, info.serialNumber,
                              info.customerCode, info.vendorModel, info.macAddress}) {
        fields += std::string(field) + "|";
    }
    return fields;
}

TEST(Product, ManufacturingFieldsAreFoundFromTheLastLineUp) {
    const std::string known = "|5183746-02|RB-K-518-T7|K4100027||RB-K-518-T7|02:02:02:4B:54:10|";
    const std::string longest(29, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {kDefaults, known},
        {"  productName=\t Gate way \r\n" + kDefaults, "Gate way" + known},
        {kDefaults + "productName=below\n", known},
        {"macAddress=1\nserial=2\nvendormodel=3\n", "||||||1|"},
        {"macAddress=1", "|||||||"},
        {"xmodelNumber=c\nmyserial=a=b\nserialNumber=d\n", "||c|a=b||||"},
        {"productID=" + longest + "yz\nserial=" + longest + "\n", "|" + longest + "||" + longest + "||||"},
        {"productID=1\nserial=2\n" + std::string(1, '\0') + "macAddress=3\n", "|1||2||||"},
        {"serial=1\n" + std::string(1013, '#') + "\nmacAddress=2\n", "|||1||||"},
        {"", "|||||||"}};
    for (const auto& [file, fields] : cases) {
        setContents(kMfgFile, file);
        inFreshProcess([&, fields = fields] {
            ProductInfo* info = nullptr;
            EXPECT_EQ(getProductInfo(&info), 0);
            EXPECT_EQ(mfgFields(*info), fields);
        });
    }
    setContents(kMfgFile, kDefaults);
}

TEST(Product, IsReadOnceInAProcess) {
    takeJournal();
    inFreshProcess([] {
        EXPECT_EQ(getProductInfo(nullptr), -1);
        EXPECT_EQ(takeJournal() + g_ProductInfo.productClass, "");
        EXPECT_TRUE(whoAreWe(nullptr) == 5 && takeJournal() == "rax -r -m\n");
        char model[KT_PRODUCT_TEXT_SIZE];
        ProductInfo* info = nullptr;
        EXPECT_EQ(whoAreWe(model) + getProductInfo(&info), 5);
        EXPECT_EQ(model + takeJournal(), "RB-K-518-T7");
        EXPECT_EQ(info, &g_ProductInfo);
        EXPECT_EQ(std::string(info->processor) + info->productClass + info->vendorId + info->databaseSchema,
                  "ARMv7 Processor rev 10 (v7l)GatewayMarrowby12");
        EXPECT_STREQ(info->version, versionTag());
        char processor[29];  // the line needs 30 bytes
        EXPECT_EQ(_getProcessor(processor, sizeof processor) + strlen(processor), 0U);
        EXPECT_EQ(_getProcessor(nullptr, 9) + _getVersion(nullptr) + _getVendorID(nullptr), -4);
    });
}

TEST(Product, WithoutTheManufacturingFileTheUnitReboots) {
    rename(kMfgFile, "/usr/local/data/away");
    takeJournal();
    inFreshProcess([] {
        ProductInfo* info = nullptr;
        const auto get = [&info] { EXPECT_EQ(getProductInfo(&info), 0); };
        EXPECT_EQ(allPrintedBy(get), "ktcommon - mfg.conf missing/damaged");
        EXPECT_EQ(mfgFields(*info) + info->databaseSchema, "|||||||12");
    });
    rename("/usr/local/data/away", kMfgFile);
    EXPECT_EQ(takeJournal(), "rax -r -m\nshutdown now -r -F\n");
    EXPECT_EQ(contentsOf("/var/lognv/kt/error").substr(20), "310 mfg.conf missing/damaged recreating\n");
}

TEST(Product, PrintsWhatItIs) {
    std::string info = allPrintedBy(showProductInfo);
    info.erase(info.find(versionTag()), strlen(versionTag()));
    EXPECT_EQ(checksumOf(info), 0x5851F705U) << info;
    char version[50], built[50];
    const std::string revision = allPrintedBy([] { EXPECT_GT(showRevision(), 0); });
    EXPECT_EQ(sscanf(revision.c_str(),
                     "Project: Gateway\nVersion: %49s\nCompiled By: %*s\nOn: Linux %*[^\n]\nAt: %49[^\n]\n\n",
                     version, built),
              2);
    EXPECT_STREQ(version, versionTag());
    tm time = {};
    const char* rest = strptime(built, "%a %b %e %H:%M:%S UTC %Y", &time);
    EXPECT_TRUE(rest != nullptr && *rest == '\0') << built;
    const std::string extended = allPrintedBy([] { EXPECT_GT(showRevisionExtended(), 0); });
    char expected[1000];
    const std::string shell =
        "echo 'Project:           Gateway / "s + version + " / " + built +
        "'; busybox | sed 's/^/busybox:           /; q'; "
        "for what in 'release:    -r' 'version:    -v' 'processor:  -p' 'OS:         -o'; do "
        "echo \"kernel ${what%-*}$(uname -${what#*-})\"; done; uname --version | sed -n "
        "'s/^Copyright/kernel copyright:  &/p; s/^License/kernel license:    &/p'";
    systemBufferEcho(shell.c_str(), nullptr, expected, sizeof expected);
    EXPECT_EQ(extended, expected);
    char* partition = getCurrentBootPartition();
    EXPECT_STREQ(partition, "rfs1\n");
    free(partition);
}

TEST(Product, ProgramLinesFollowTheTarget) {
    ProductInfo* info = nullptr;
    getProductInfo(&info);
    takeJournal();
    const auto run = [info](const char* target, const char* productClass, int level, char* line,
                            const char* printed) {
        return std::thread([=] {
            inFreshProcess([=] {
                snprintf(info->productClass, sizeof info->productClass, "%s", productClass);
                // A file of its own for each run.
                snprintf(line, sizeof FPGA_PROG_B_EXP, "/tmp/line.%d", getpid());
                const time_t start = time(nullptr);
                EXPECT_EQ(allPrintedBy([=] { managePROG_B(target, level); }), printed);
                EXPECT_GE(time(nullptr), start + 5);
                EXPECT_EQ(contentsOf(line), std::to_string(level) + "\n");
            });
        });
    };
    // Seconds each.
    std::thread runs[] = {run("/dev/mtd7", "Gateway", 0, FPGA_PROG_B_EXP, "Holding PROG_B\n"),
                          run("/dev/mtd5.exp", "gateWAY", 1, FPGA_PROG_B_EXP, "Releasing PROG_B\n"),
                          run("/dev/mtd3", "Bridge", 0, FPGA_PROG_B_MAIN, "Holding PROG_B\n"),
                          run(nullptr, "Gateway", 2, FPGA_PROG_B_MAIN, "Releasing PROG_B\n")};
    for (std::thread& each : runs) { each.join(); }
    EXPECT_EQ(takeJournal(), "ifconfig eth1 down\n");
}

}  // namespace
