#include <gtest/gtest.h>
#include <ktcommon.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <set>
#include <string>

namespace {

TEST(ComponentRegistry, TableIsWellFormed) {
    std::set<std::string> names, tags;
    std::set<int> ids;
    int unpadded = 0;
    const ComponentInfo* row = componentInfo;
    for (; row->id != 0; ++row) {
        const std::string tag = row->shortName;
        const size_t word = strcspn(row->shortName, " ");
        EXPECT_TRUE(names.insert(row->name).second && tags.insert(tag).second && ids.insert(row->id).second)
            << row->name;
        EXPECT_TRUE(tag.size() == 4 ? word >= 3 : ++unpadded == 1 && word == 3) << tag;
        EXPECT_EQ(std::count_if(tag.begin(), tag.end(), isupper), static_cast<int>(word)) << tag;
        EXPECT_EQ(std::string(row->name).find_first_not_of("abcdefghijklmnopqrstuvwxyz"), std::string::npos);
        EXPECT_EQ(getComponentInfoPtr(row->id), row);
        EXPECT_TRUE(getComponentName(row->id) == row->name &&
                    getComponentShortName(row->id) == row->shortName);
    }
    EXPECT_EQ(unpadded, 1);
    EXPECT_EQ(std::string(row->name) + row->shortName, "???????");
    EXPECT_EQ(ids.size(), 68u);
    EXPECT_EQ(std::tuple(*ids.begin(), *++ids.rbegin(), *ids.rbegin()), std::tuple(300, 369, 400));
    EXPECT_TRUE(tags.count("PIL ") && tags.count("QIL ") && tags.count("CIL "));
    EXPECT_EQ(getComponentName(400) + std::string(getComponentShortName(337)), "debugQIL ");
}

TEST(ComponentRegistry, UnknownIdsHaveTextsOfTheirOwn) {
    const std::tuple<int, const char*, const char*> cases[] = {
        {5, "(??? 5)", "0005"}, {0, "(??? 0)", "0000"}, {-7, "(??? -7)", "-007"}, {346, "(??? 346)", "0346"}};
    for (const auto& [id, name, tag] : cases) {
        EXPECT_EQ(getComponentInfoPtr(id)->id, 0);
        EXPECT_STREQ(getComponentName(id), name);
        EXPECT_STREQ(getComponentShortName(id), tag);
    }
}

}  // namespace
