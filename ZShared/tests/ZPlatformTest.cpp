#include "ZShared/ZPlatform.h"

#include <gtest/gtest.h>

#include <vector>

#include "ZTestKit/ZManualClock.h"

namespace {

TEST(ZPlatformTest, SteadyTimeComesFromTheInstalledClock) {
    const auto realBefore = ZPlatform::SteadyNow();
    {
        ZManualClock clock(std::chrono::seconds(5));
        EXPECT_EQ(ZPlatform::SteadyNow().time_since_epoch(), std::chrono::seconds(5));

        clock.Advance(std::chrono::milliseconds(1001));

        EXPECT_EQ(ZPlatform::SteadyNow().time_since_epoch(), std::chrono::milliseconds(6001));
    }
    EXPECT_GE(ZPlatform::SteadyNow(), realBefore);  // monotonic clock back
}

TEST(ZPlatformTest, HardwareClockGoesThroughTheReplaceableSetter) {
    std::vector<std::int64_t> recorded;
    ZPlatform::SetHardwareClockSetter([&recorded](std::int64_t seconds) {
        recorded.push_back(seconds);
        return seconds >= 0;
    });

    EXPECT_TRUE(ZPlatform::SetHardwareClock(1700000000));
    EXPECT_FALSE(ZPlatform::SetHardwareClock(-1));
    ZPlatform::SetHardwareClockSetter({});

    EXPECT_EQ(recorded, (std::vector<std::int64_t>{1700000000, -1}));
}

}  // namespace
