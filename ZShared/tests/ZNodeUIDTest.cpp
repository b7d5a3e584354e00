#include "ZShared/ZNodeUID.h"

#include <gtest/gtest.h>

#include <map>

namespace {

TEST(ZNodeUIDTest, IsEmptyByDefaultAndJoinsTextAndNumber) {
    EXPECT_TRUE(ZNodeUID().IsEmpty());
    EXPECT_EQ(ZNodeUID().AsString(), "");
    EXPECT_EQ(ZNodeUID("ZNodeDiscovery", 1).AsString(), "ZNodeDiscovery1");
    EXPECT_EQ(ZNodeUID(std::string("Radar"), 12).AsString(), "Radar12");
    EXPECT_EQ(ZNodeUID(static_cast<const char*>(nullptr)).AsString(), "");
}

TEST(ZNodeUIDTest, ComparesTextByteByByte) {
    EXPECT_EQ(ZNodeUID("abc"), ZNodeUID(std::string("abc")));
    EXPECT_NE(ZNodeUID("abc"), ZNodeUID("ABC"));
    EXPECT_NE(ZNodeUID("abc"), ZNodeUID("abc "));
    EXPECT_LT(ZNodeUID("ab"), ZNodeUID("abc"));  // shorter first on a common prefix
    EXPECT_LT(ZNodeUID("B"), ZNodeUID("a"));
    EXPECT_LT(ZNodeUID("a"), ZNodeUID("\xc3\xa9"));  // bytes compare unsigned

    std::map<ZNodeUID, int> ordered{{ZNodeUID("NM2"), 2}, {ZNodeUID("NM10"), 10}, {ZNodeUID("NM1"), 1}};
    std::vector<std::string> keys;
    for (const auto& entry : ordered) {
        keys.emplace_back(entry.first.c_str());
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"NM1", "NM10", "NM2"}));
}

}  // namespace
