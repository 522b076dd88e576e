// Runs in the virtual unit: it reads and writes the unit's manufacturing file.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/stat.h>

#include <climits>
#include <cstring>
#include <filesystem>

#include "support/debug_lines.h"
#include "support/files.h"
#include "support/logged.h"

// In place of the C library's generator.
static time_t seed;
static int drawn;
KT_API void srand(unsigned newSeed) noexcept {
    seed = newSeed;
    drawn = 253;
}
KT_API int rand() noexcept { return ++drawn; }

namespace {

using std::string;
using namespace std::string_literals;
namespace fs = std::filesystem;
using namespace kt::test;

const string kDefaults =
    "productID=5183746-02\ncustomerCode=\nmodelNumber=RB-K-518-T7\nserial=K4100027\nvendormodel=RB-K-518-T7\n"
    "macAddress=02:02:02:FE:00:01\nmacRange=2\n\n";
const char kFile[] = "/tmp/mfg.conf";

// The seven fields, each up to its terminator and all behind it, which is to be zero.
string fieldsOf(const MfgConfigSet& set) {
    string fields;
    for (const char* field : {set.productID, set.customerCode, set.modelNumber, set.serial, set.vendormodel,
                              set.macAddress, set.macRange}) {
        const size_t length = strnlen(field, MFG_FIELD_SIZE);
        EXPECT_EQ(std::count(field + length, field + MFG_FIELD_SIZE, '\0'), MFG_FIELD_SIZE - length) << field;
        fields.append(field, length) += "|";
    }
    return fields;
}

struct MfgConfig : testing::Test {
    MfgConfig() {
        fs::remove_all(kFile);
        logged.clear();
        memset(&set, 'x', sizeof set);
    }
    ~MfgConfig() override {
        EXPECT_EQ(std::distance(fs::directory_iterator("/proc/self/fd"), {}), openAtFirst);
    }
    MfgConfigSet set;

  private:
    const long openAtFirst = std::distance(fs::directory_iterator("/proc/self/fd"), {});
};

void write(const string& text) { setContents(kFile, text); }

TEST_F(MfgConfig, CreatesAMissingFileForThoseThatMay) {
    EXPECT_EQ(Mfg_LoadMfgConfigSet(&set, kFile), -1);
    EXPECT_TRUE(fieldsOf(set) == "|||||||" && !fs::exists(kFile));
    EXPECT_EQ(MfgConfExistanceCheck("/no/directory"), -1);

    const time_t before = time(nullptr);
    EXPECT_EQ(Mfg_DeserializeConfigSet(&set, kFile), 0);
    EXPECT_TRUE(before <= seed && seed <= time(nullptr));
    EXPECT_EQ(contentsOf(kFile), kDefaults);
    EXPECT_EQ(fieldsOf(set), "5183746-02||RB-K-518-T7|K4100027|RB-K-518-T7|02:02:02:FE:00:01|2|");

    write("serial=kept\n");
    (void)!system("touch -d 2045-01-01 /tmp/mfg.conf");  // beyond the board's time_t
    EXPECT_TRUE(MfgConfExistanceCheck(kFile) == 0 && Mfg_LoadMfgConfigSet(&set, kFile) == 0);
    EXPECT_EQ(fieldsOf(set) + contentsOf(kFile), "|||kept|||2|serial=kept\n");
    EXPECT_EQ(Mfg_DeserializeConfigSet(nullptr, kFile) + Mfg_SerializeConfigSet(nullptr, kFile), -2);
}

TEST_F(MfgConfig, ReadsWhatIsThere) {
    const string name(31, 'n');
    const std::tuple<string, string, std::vector<string>> cases[] = {
        {"macAddress=00:11:22:33:44:55", "|||||00:11:22:33:44:55|2|", {}},
        {"SERIAL= a b \r\nmacrange=007\nserial=Z9\n", "|||Z9|||007|", {}},
        {"vendormodel=" + name + "x\nmodelNumber=" + name + "\n", "||" + name + "||" + name + "||2|", {}},
        {"serialNumber=abc\nversion=3\nproductID=1\n", "1||||||2|", {"serialNumber=abc", "version=3"}},
        {"serial\ncustomerCode=c\nproductID=p", "p||||||2|", {"serial\ncustomerCode=c"}},
        {"serial=s\nproductID=p\0q\nmacRange=9\n"s, "p|||s|||2|", {}},
        {"macRange=\ncustomerCode=%s%n", "|%s%n|||||2|", {}},
        {"no pairs", "||||||2|", {}},
        {"", "||||||2|", {}}};
    for (const auto& [text, fields, unknown] : cases) {
        write(text);
        logged.clear();
        string lines = "Mfg_LoadMfgConfigSet entry\n", errors;
        for (const string& pair : unknown) {
            errors += "311 Invalid MFG pair received: " + pair + "\n";
            lines += "AddMfgPair: Invalid MFG pair received: " + pair + "\n";
        }
        EXPECT_EQ(debugLinesOf([&] { Mfg_LoadMfgConfigSet(&set, kFile); }), lines);
        EXPECT_EQ(fieldsOf(set) + logged, fields + errors);
    }
    EXPECT_EQ(AddMfgPair(nullptr, "serial", "v") + AddMfgPair(&set, nullptr, "v"), -2);
    EXPECT_EQ(AddMfgPair(&set, "serial", nullptr) + copyMfgElement(set.serial, (name + "xx").c_str()), 32);
}

TEST_F(MfgConfig, WritesTerminatedFieldsAndTracesThem) {
    string lines, dumped;
    for (const string key :
         {"productID", "customerCode", "modelNumber", "serial", "vendormodel", "macAddress", "macRange"}) {
        const string line = key + "=" + string(31, 'x') + "\n";  // of 32 without an end
        lines += line;
        dumped += "Mfg_DumpConfig: " + line;
    }
    write(string(1000, '?'));
    EXPECT_EQ(debugLinesOf([&] { EXPECT_EQ(Mfg_SerializeConfigSet(&set, kFile), 0); }),
              "Mfg_SerializeConfigSet entry\nMfg_SerializeConfigSet pre-write: \n" + lines +
                  "\n\nMfg_SerializeConfigSet exit result 0\n");
    EXPECT_EQ(contentsOf(kFile), lines + "\n");
    EXPECT_EQ(debugLinesOf([&] { EXPECT_EQ(Mfg_SerializeConfigSet(&set, "/no/directory"), -1); }),
              "Mfg_SerializeConfigSet entry\nMfg_SerializeConfigSet exit result -1\n");
    EXPECT_EQ(debugLinesOf([&] { Mfg_DumpConfig(&set), Mfg_DumpConfig(nullptr); }),
              "Mfg_DumpConfig entry\n" + dumped + "Mfg_DumpConfig:\nMfg_DumpConfig exit\n" +
                  "Mfg_DumpConfig entry\nMfg_DumpConfig exit\n");
    char* mac = nullptr;
    EXPECT_EQ(Mfg_RetrieveMacRangeEx(&set) + Mfg_RetrieveRegisteredMacAddressEx(&set, 0, &mac), -1);

    MfgConfigSet read;
    EXPECT_EQ(Mfg_DeserializeConfigSet(&read, kFile), 0);
    EXPECT_EQ(Mfg_SerializeConfigSet(&read, "/tmp/again") + Mfg_SerializeConfigSet(&read, "/dev/full"), 0);
    EXPECT_EQ(contentsOf("/tmp/again"), lines + "\n");
}

TEST_F(MfgConfig, DoesNotWaitForWhatIsNoFile) {
    const auto isSafe = [&](int reading, int range) {
        EXPECT_EQ(Mfg_DeserializeConfigSet(&set, kFile), reading);
        EXPECT_EQ(Mfg_RetrieveMacRangeEx(&set), range);
        EXPECT_EQ(Mfg_SerializeConfigSet(&set, kFile), -1);
    };
    fs::create_directory(kFile);
    isSafe(0, 2);
    EXPECT_EQ(remove(kFile) + mkfifo(kFile, 0600), 0);
    isSafe(0, 2);
    EXPECT_EQ(remove(kFile) + symlink(kFile, kFile), 0);
    isSafe(-1, 0);
}

TEST_F(MfgConfig, CountsAddressesFromTheBase) {
    // clang-format off
    const std::tuple<const char*, const char*, int, const char*> cases[] = {
        {"00:11:22:33:44:ff", "4", 0, "00:11:22:33:44:FF"},
        {"00:11:22:33:44:FF", "4", 1, "00:11:22:33:45:00"},
        {"00:11:22:33:44:FF", " +4x", 3, "00:11:22:33:45:02"}, {"00:11:22:33:44:FF", "4", 4, nullptr},
        {"00:11:22:33:44:FF", "4", -1, nullptr}, {"ff:ff:ff:ff:ff:ff", "2", 1, "00:00:00:00:00:00"},
        {"0:1:2:3:4:5 and more", "2147483648", INT_MAX - 1, "00:01:82:03:04:03"},
        {"1:2:3:4:5:6:7:8", "1", 0, "01:02:03:04:05:06"}, {"00:11:22:33:44", "2", 0, nullptr},
        {"00-11-22-33-44-55", "2", 0, nullptr}, {"00:11:22:33:44:55", "two", 0, nullptr},
        {"00:11:22:33:44:55", "-1", -2, nullptr}};
    // clang-format on
    for (const auto& [base, range, index, address] : cases) {
        copyMfgElement(set.macAddress, base);
        copyMfgElement(set.macRange, range);
        char untouched = '\0';
        char* mac = &untouched;
        EXPECT_EQ(Mfg_RetrieveRegisteredMacAddressEx(&set, index, &mac), address == nullptr ? -1 : 0);
        EXPECT_STREQ(mac, address == nullptr ? "" : address);
        if (mac != &untouched) { free(mac); }
    }
}

TEST_F(MfgConfig, KnowsTheUnitsFile) {
    char* mac = nullptr;
    setContents(MFG_CONF_FILE, "macAddress=2:0:0:0:0:FF\nmacRange=3\n");
    EXPECT_TRUE(Mfg_RetrieveMacRange() == 3 && Mfg_RetrieveRegisteredMacAddress(3, &mac) == -1);
    EXPECT_EQ(Mfg_RetrieveRegisteredMacAddress(2, &mac), 0);
    EXPECT_STREQ(mac, "02:00:00:00:01:01");
    free(mac);
    fs::remove(MFG_CONF_FILE);
    EXPECT_TRUE(Mfg_RetrieveMacRange() == 2 && fs::is_regular_file(MFG_CONF_FILE));
    EXPECT_EQ(remove(MFG_CONF_FILE) + symlink(MFG_CONF_FILE, MFG_CONF_FILE), 0);  // not to be opened
    EXPECT_EQ(Mfg_RetrieveMacRange() + Mfg_RetrieveRegisteredMacAddress(0, &mac), -1);
}

}  // namespace
