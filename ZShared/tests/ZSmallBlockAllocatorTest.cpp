#include "ZShared/ZSmallBlockAllocator.h"

#include <gtest/gtest.h>

#include <cstring>
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

constexpr std::size_t kLarge = ZSmallBlockAllocator::kLargeBlock + 1000;

TEST(ZSmallBlockAllocatorTest, KeptLargeBlocksCountAsFreedAndServeTheNextRequestOfTheirSize) {
    ZSmallBlockAllocator sut(std::size_t{8} << 20);

    void* first = sut.AllocateMem(kLarge);
    std::memset(first, 1, kLarge);
    sut.FreeMem(first);
    EXPECT_EQ(sut.BytesInUse(), 0);
    EXPECT_EQ(sut.BlocksInUse(), 0);
    const bool kept = sut.CachedBytes() > 0;  // never under address sanitizers
    void* second = sut.AllocateMem(kLarge + 10);
    std::memset(second, 2, kLarge + 10);

    EXPECT_EQ(sut.BytesInUse(), static_cast<std::int64_t>(kLarge + 10));
    EXPECT_EQ(sut.PeakBytes(), static_cast<std::int64_t>(kLarge + 10));
    EXPECT_EQ(sut.TotalAllocations(), 2);
    if (kept) {
        EXPECT_EQ(second, first);
        EXPECT_EQ(sut.CachedBytes(), 0);
    }
    sut.FreeMem(second);
    sut.ReleaseCache();
    EXPECT_EQ(sut.CachedBytes(), 0);
    EXPECT_EQ(sut.BytesInUse(), 0);
}

TEST(ZSmallBlockAllocatorTest, KeepsNoMoreThanItsLimitAndNothingWithoutOne) {
    ZSmallBlockAllocator limited(std::size_t{1} << 20);
    ZSmallBlockAllocator plain;
    std::vector<void*> blocks;
    for (int i = 0; i < 8; ++i) {
        blocks.push_back(limited.AllocateMem(kLarge));
    }
    void* huge = limited.AllocateMem(ZSmallBlockAllocator::kLargestCached + 1);
    void* unlimited = plain.AllocateMem(kLarge);

    for (void* block : blocks) {
        limited.FreeMem(block);
    }
    limited.FreeMem(huge);
    plain.FreeMem(unlimited);

    EXPECT_LE(limited.CachedBytes(), std::int64_t{1} << 20);
    EXPECT_EQ(limited.BytesInUse(), 0);
    EXPECT_EQ(plain.CachedBytes(), 0);
    limited.ReleaseCache();
}

TEST(ZSmallBlockAllocatorTest, AFullCacheMakesRoomByGivingBackTheSizesUsedLeast) {
    ZSmallBlockAllocator sut(std::size_t{1} << 20);
    std::vector<void*> early;
    for (int i = 0; i < 4; ++i) {
        early.push_back(sut.AllocateMem(kLarge));
    }
    for (void* block : early) {
        sut.FreeMem(block);
    }
    const bool kept = sut.CachedBytes() > 0;  // never under address sanitizers
    const std::size_t later = 3 * ZSmallBlockAllocator::kLargeBlock;

    void* first = sut.AllocateMem(later);
    sut.FreeMem(first);
    void* second = sut.AllocateMem(later);

    if (kept) {
        EXPECT_EQ(second, first);
    }
    EXPECT_LE(sut.CachedBytes(), std::int64_t{1} << 20);
    sut.FreeMem(second);
    EXPECT_LE(sut.CachedBytes(), std::int64_t{1} << 20);
    EXPECT_EQ(sut.BytesInUse(), 0);
    sut.ReleaseCache();
}

TEST(ZSmallBlockAllocatorTest, KeptBlocksAreSafeFromSeveralThreads) {
    ZSmallBlockAllocator sut(std::size_t{2} << 20);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&sut, t] {
            for (int i = 0; i < 200; ++i) {
                const std::size_t size = kLarge + static_cast<std::size_t>((i + t) % 4) * 100000;
                auto* block = static_cast<unsigned char*>(sut.AllocateMem(size));
                block[0] = 1;
                block[size - 1] = 2;
                sut.FreeMem(block);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(sut.BytesInUse(), 0);
    EXPECT_EQ(sut.BlocksInUse(), 0);
    EXPECT_EQ(sut.TotalAllocations(), 800);
    EXPECT_LE(sut.CachedBytes(), std::int64_t{2} << 20);
    sut.ReleaseCache();
}

}  // namespace
