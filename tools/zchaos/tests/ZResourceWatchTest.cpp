#include <unistd.h>

#include <gtest/gtest.h>

#include "ZResourceWatch.h"

TEST(ZResourceWatchTest, GrowthPastTheWarmupIsReportedOncePerHostRun) {
    ZResourceWatch watch(2, 1024, 25, 3);
    EXPECT_TRUE(watch.Add({8000, 12}).empty());
    EXPECT_TRUE(watch.Add({9000, 14}).empty());   // the warm-up's largest is the baseline
    EXPECT_TRUE(watch.Add({11250, 17}).empty());  // 9000 + 25 %, 14 + 3
    auto broken = watch.Add({11251, 18});
    ASSERT_EQ(broken.size(), 2u);
    EXPECT_EQ(broken[0], "discovery host VmRSS 11251 KiB, over 11250 KiB (baseline 9000 KiB after warm-up)");
    EXPECT_EQ(broken[1], "discovery host holds 18 descriptors, over 17 (baseline 14 after warm-up)");
    EXPECT_TRUE(watch.Add({20000, 30}).empty());

    // A new run of the host has a baseline of its own; the campaign's first sample stays.
    watch.NewLifetime();
    EXPECT_TRUE(watch.Add({20000, 30}).empty());
    EXPECT_TRUE(watch.Add({2000, 10}).empty());
    EXPECT_TRUE(watch.Add({21000, 33}).empty());  // under 20000 KiB + 25 %, 30 + 3
    EXPECT_EQ(watch.Add({25001, 30}).size(), 1u);
    EXPECT_EQ(watch.First().m_rssKiB, 8000);
    EXPECT_EQ(watch.Last().m_rssKiB, 25001);
}

TEST(ZResourceWatchTest, ReadsAProcessFromProc) {
    const auto sample = ZResourceWatch::Read(::getpid());
    EXPECT_GT(sample.m_rssKiB, 0);
    EXPECT_GE(sample.m_descriptors, 3);
    EXPECT_EQ(ZResourceWatch::Read(-5).m_rssKiB, -1);
}
