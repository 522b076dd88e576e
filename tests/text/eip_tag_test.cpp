#include <gtest/gtest.h>
#include <ktcommon.h>

#include "support/debug_lines.h"

namespace {

using std::string;

TEST(EipTag, IsAnAssemblyObject) {
    gDebugMode = DEBUG_GENERAL;
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"100", "EthernetIP", " is an assembly object EIP tag\n"},
        {"0[31]", "my EthernetIP 2", " is an assembly object EIP tag\n"},
        {"1[3]x", "EthernetIP", " is not an assembly object EIP tag, reason: regex mismatch\n"},
        {nullptr, "EthernetIP", " is not an assembly object EIP tag, reason: regex mismatch\n"},
        {"100", "EtherNetIP", " is not an assembly object EIP tag, reason: Not EIP\n"},
        {"%s", nullptr, " is not an assembly object EIP tag, reason: Not EIP\n"}};
    for (const auto& [tag, driver, found] : cases) {
        const void* const record[] = {"", "", "", "", "", "", "EthernetIP", driver, "EthernetIP"};
        const auto ask = [&record, name = tag] { return isEipAssemblyObjectTagMap(name, record); };
        const string text = string("isEipAssemblyObjectTagMap, ") + (tag == nullptr ? "(null)" : tag) + found;
        EXPECT_EQ(kt::test::debugLinesOf(ask), text);
        EXPECT_EQ(ask(), text.find(" is an ") == string::npos ? 0 : 1) << text;
    }
    EXPECT_EQ(isEipAssemblyObjectTagMap("100", nullptr), 0);
}

}  // namespace
