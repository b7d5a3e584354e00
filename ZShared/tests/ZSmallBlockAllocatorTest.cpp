#include "ZShared/ZSmallBlockAllocator.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "ZShared/ZAllocator.h"
#include "ZShared/ZMakeShared.h"

namespace {

struct ZCounted {
    explicit ZCounted(int value) : m_value(value) { ++m_live; }
    virtual ~ZCounted() { --m_live; }
    int m_value;
    static inline int m_live = 0;
};

struct ZThrowing {
    ZThrowing() { throw std::runtime_error("constructor failed"); }
};

TEST(ZSmallBlockAllocatorTest, CountsBytesInUseAndPeak) {
    ZSmallBlockAllocator sut;

    void* a = sut.AllocateMem(100);
    void* b = sut.AllocateMem(28);
    const auto peak = sut.PeakBytes();
    sut.FreeMem(a);

    EXPECT_EQ(peak, 128);
    EXPECT_EQ(sut.BytesInUse(), 28);
    EXPECT_EQ(sut.BlocksInUse(), 1);
    EXPECT_EQ(sut.PeakBytes(), 128);
    sut.FreeMem(b);
    sut.FreeMem(nullptr);
    EXPECT_EQ(sut.BytesInUse(), 0);
    sut.ResetPeak();
    EXPECT_EQ(sut.PeakBytes(), 0);
}

TEST(ZSmallBlockAllocatorTest, FrameworkContainersAndSharedObjectsShowInTheCounters) {
    const auto before = g_SBA.BytesInUse();
    {
        ZString text(200, 'x');
        ZVector<int> numbers(50, 7);
        auto shared = ZMakeShared<ZCounted>(3);
        EXPECT_GE(g_SBA.BytesInUse(), before + 200 + 50 * 4 + static_cast<std::int64_t>(sizeof(ZCounted)));
        EXPECT_EQ(shared->m_value, 3);
    }
    EXPECT_EQ(g_SBA.BytesInUse(), before);  // a leak would show here
    EXPECT_EQ(ZCounted::m_live, 0);
}

TEST(ZSmallBlockAllocatorTest, FailedConstructionGivesTheMemoryBack) {
    const auto before = g_SBA.BytesInUse();

    EXPECT_THROW(ZMakeShared<ZThrowing>(), std::runtime_error);

    EXPECT_EQ(g_SBA.BytesInUse(), before);
}

TEST(ZSmallBlockAllocatorTest, IsSafeFromSeveralThreads) {
    ZSmallBlockAllocator sut;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&sut] {
            for (int i = 0; i < 2000; ++i) {
                void* p = sut.AllocateMem(static_cast<std::size_t>(i % 64 + 1));
                sut.FreeMem(p);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(sut.BytesInUse(), 0);
    EXPECT_EQ(sut.TotalAllocations(), 8000);
    EXPECT_LE(sut.PeakBytes(), 4 * 64);
}

}  // namespace
