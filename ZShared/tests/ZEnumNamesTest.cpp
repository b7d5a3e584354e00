#include "ZShared/ZEnumNames.h"

#include <gtest/gtest.h>

namespace {

enum ZTestColour : int { COLOUR_RED = 0, COLOUR_GREEN = 1, COLOUR_BLUE = 7 };

}  // namespace

Z_ENUM_NAMES(ZTestColour, {COLOUR_RED, "COLOUR_RED"}, {COLOUR_GREEN, "COLOUR_GREEN"}, {COLOUR_BLUE, "COLOUR_BLUE"});

namespace {

TEST(ZEnumNamesTest, NamesAndValuesConvertBothWays) {
    EXPECT_STREQ(ZEnum::Name(COLOUR_BLUE), "COLOUR_BLUE");
    EXPECT_EQ(ZEnum::Cast<ZTestColour>("COLOUR_GREEN"), COLOUR_GREEN);
    EXPECT_EQ(ZEnum::Count<ZTestColour>(), 3u);
}

TEST(ZEnumNamesTest, UnknownValuesAndNamesFailClearly) {
    EXPECT_STREQ(ZEnum::Name(static_cast<ZTestColour>(3)), "");
    EXPECT_FALSE(ZEnum::Cast<ZTestColour>("colour_green").has_value());  // names are case-sensitive
    EXPECT_FALSE(ZEnum::Cast<ZTestColour>("COLOUR_GREEN ").has_value());
    EXPECT_FALSE(ZEnum::Cast<ZTestColour>("").has_value());
}

}  // namespace
