// Runs in the virtual unit, where the plug-ins of the build are put in their place. Closing can be made to fail.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <unistd.h>

#include <cstring>
#include <sstream>
#include <utility>

#include "support/debug_lines.h"
#include "support/files.h"
#include "support/logged.h"

static int closingResult;
extern "C" KT_API int dlclose(void* handle) noexcept {
    static const auto real = reinterpret_cast<int (*)(void*)>(dlsym(RTLD_NEXT, "dlclose"));
    return closingResult != 0 ? closingResult : real(handle);
}

namespace {

const std::string kFolder = "/usr/local/lib/";

std::string takeLogged() { return std::exchange(logged, ""); }

// Puts a plug-in there, if one is given, and opens it. The result, and an "x" for each slot that is filled, "-"
// for the others.
template <typename Table>
std::string opened(int (*open)(int, Table*, const char*), const std::string& name,
                   const std::string& file = "", const std::string& plugin = "") {
    EXPECT_TRUE(plugin.empty() ||
                symlink((PLUGINS "/" + plugin + ".so").c_str(), (kFolder + file).c_str()) == 0);
    Table table;
    memset(&table, 0xFF, sizeof table);
    std::string outcome = std::to_string(open(300, &table, name.c_str())) + " ";
    void* slots[sizeof table / sizeof(void*)];
    memcpy(slots, &table, sizeof table);
    for (const void* slot : slots) { outcome += slot == nullptr ? '-' : 'x'; }
    EXPECT_TRUE(table.handle == nullptr || kt_dlclose(300, table.handle) == 0);
    return outcome;
}

// Each kind: its slots in the order of resolution, and what a missing one logs.
template <typename Table>
void expectCodes(int (*open)(int, Table*, const char*), const std::string& kind,
                 const std::vector<std::pair<size_t, std::string>>& required, const std::string& report) {
    const auto file = [&](const std::string& name) { return "kt" + kind.substr(0, 1) + name + "." + kind; };
    const size_t slots = sizeof(Table) / sizeof(void*);
    std::string found = "x" + std::string(slots - 1, '-');
    for (size_t i = 0; i < required.size(); ++i) {
        const auto& [slot, symbol] = required[i];
        const std::string name = "Without" + std::to_string(i);
        EXPECT_EQ(opened(open, name, file(name), (kind + "_without_").append(symbol)),
                  std::to_string(-2 - static_cast<int>(i)) + " " + found);
        const std::string entry =
            report + kFolder + file(name).append(": undefined symbol: ").append(symbol) + "\n";
        EXPECT_EQ(takeLogged(), report.empty() ? "" : entry);
        found[slot] = 'x';
    }
    EXPECT_EQ(opened(open, "Required", file("Required"), kind + "_required"), "0 " + found);
    EXPECT_EQ(opened(open, "All", file("All"), kind + "_all"), "0 " + std::string(slots, 'x'));
    Table table, untouched;
    memset(&table, 'x', sizeof table);
    memcpy(&untouched, &table, sizeof table);
    EXPECT_TRUE(open(300, nullptr, nullptr) == -1 && open(300, &table, nullptr) == -2);
    EXPECT_EQ(memcmp(&table, &untouched, sizeof table), 0);
    EXPECT_EQ(takeLogged(), "");
}

TEST(Plugin, EntryPointsOfEachKind) {
    expectCodes(protOpenLibrary, "pil",
                {{1, "protVersion"},
                 {2, "protOpen"},
                 {3, "protClose"},
                 {8, "protPeek"},
                 {4, "protRead"},
                 {5, "protWrite"},
                 {6, "protRegisterGet"},
                 {7, "protRegisterSet"}},
                "300 protOpenLibrary: ");
    expectCodes(qilOpenLibrary, "qil", {{1, "qilVersion"}, {2, "qilInit"}, {3, "qilDeinit"}, {4, "qilDoMe"}},
                "337 qilOpenLibrary: ");
    expectCodes(cilOpenLibrary, "cil", {{1, "cilVersion"}, {2, "cilInit"}, {3, "cilDeinit"}, {5, "cilDoMe"}},
                "");
    ProtLibrary prot;
    EXPECT_EQ(protOpenLibrary(300, &prot, "Required"), 0);
    char few[] = "????";
    EXPECT_EQ(std::string(kt_dlerror(few, 4), 4), std::string(4, '\0')) << "optional ones are no errors";
    kt_dlclose(300, prot.handle);
}

TEST(Plugin, ShortNamesBecomePaths) {
    const std::string cut(78, 'x');
    EXPECT_EQ(opened(protOpenLibrary, "modBUS", "ktpmodBUS.pil", "pil_all").substr(0, 2), "0 ");
    EXPECT_EQ(opened(qilOpenLibrary, "qUILLX", "ktqQuillx.qil", "qil_all"), "0 xxxxxx");
    EXPECT_EQ(opened(cilOpenLibrary, "myPlug", "ktcMyPlug.cil", "cil_all"), "0 xxxxxx");
    EXPECT_EQ(opened(qilOpenLibrary, std::string(81, 'X'), "ktqX" + cut + ".qil", "qil_all"), "0 xxxxxx");
    EXPECT_EQ(opened(cilOpenLibrary, cut + "xxx", "ktcX" + cut + ".cil", "cil_all"), "0 xxxxxx");
    EXPECT_EQ(
        opened(protOpenLibrary, std::string(90, 'y'), "ktp" + std::string(61, 'y'), "pil_all").substr(0, 2),
        "0 ");
    EXPECT_EQ(takeLogged(), "");
}

TEST(Plugin, FailuresToOpenAreReportedWithTheLoadersText) {
    const std::string ending = ": cannot open shared object file: No such file or directory";
    const auto expectReports = [&](auto open, const std::string& name, const std::string& file,
                                   const std::string& lines, const std::string& entries) {
        const std::string text = (kFolder + file + ending).substr(0, 127);
        const std::string opening = "kt_dlopen failed for: " + kFolder + file + ", error: " + text + "\n";
        const auto tryIt = [&] { EXPECT_EQ(opened(open, name).substr(0, 4), "-1 -"); };
        EXPECT_EQ(kt::test::debugLinesOf(tryIt), opening + (lines.empty() ? "" : lines + text + "\n"));
        EXPECT_EQ(takeLogged(), "300 " + opening + entries + text + "\n");
    };
    const std::string longName(56, 'n');
    expectReports(protOpenLibrary, longName, "ktp" + longName + ".pil", "", "300 protOpenLibrary: ");
    expectReports(qilOpenLibrary, "none", "ktqNone.qil", "", "337 qilOpenLibrary: ");
    expectReports(cilOpenLibrary, "none", "ktcNone.cil", "ERROR: ", "300 cilOpenLibrary dlOpen FAILED: ");
}

TEST(Plugin, FailuresToCloseAreReported) {
    EXPECT_EQ(kt_dlclose(302, nullptr), -1);
    EXPECT_EQ(takeLogged(), "302 kt_dlclose failed with handle == NULL\n");
    const auto pendingError = [] { return dlsym(RTLD_DEFAULT, "noSuchName"); };
    closingResult = 5;
    EXPECT_EQ(kt_dlclose(302, (pendingError(), const_cast<std::string*>(&kFolder))), 5);
    closingResult = 0;
    std::ostringstream value;
    value << "0x" << std::hex << reinterpret_cast<uintptr_t>(&kFolder);
    const std::string entry = takeLogged();
    EXPECT_EQ(entry.find("302 kt_dlclose failed for handle: " + value.str() + ", error: "), 0U) << entry;
    EXPECT_TRUE(entry.find("undefined symbol: noSuchName\n") != std::string::npos) << entry;
    char text[40] = {};
    memset(text, '#', 39);
    pendingError();
    kt_dlerror(text, 8);
    EXPECT_TRUE(strlen(text) == 39 && text[7] != '#' && text[8] == '#');
    EXPECT_EQ(std::string(kt_dlerror(text, 9), 10), std::string(9, '\0') + "#");
}

TEST(Plugin, MayOpenOthersWhileItIsOpened) {
    setenv("KT_NESTED_PLUGIN", PLUGINS "/cil_all.so", 1);
    EXPECT_EQ(opened(qilOpenLibrary, "outer", "ktqOuter.qil", "qil_all"), "0 xxxxxx");
    EXPECT_EQ(getenv("KT_NESTED_PLUGIN"), nullptr);
    EXPECT_EQ(takeLogged(), "");
}

}  // namespace
