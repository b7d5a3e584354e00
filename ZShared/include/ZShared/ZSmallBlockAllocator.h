#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "ZShared/ZExport.h"

// Process-wide allocator behind every framework string, container and shared object.
// A thin layer over malloc that keeps bytes-in-use and peak counters, so a leak or a
// growing footprint shows up in tests, benchmarks and diagnostics.
class Z_EXPORT ZSmallBlockAllocator {
public:
    void* AllocateMem(std::size_t size);
    void FreeMem(void* p) noexcept;

    std::int64_t BytesInUse() const { return m_bytesInUse.load(std::memory_order_relaxed); }
    std::int64_t PeakBytes() const { return m_peakBytes.load(std::memory_order_relaxed); }
    std::int64_t BlocksInUse() const { return m_blocksInUse.load(std::memory_order_relaxed); }
    std::int64_t TotalAllocations() const { return m_totalAllocations.load(std::memory_order_relaxed); }
    // Starts a new peak measurement from the current footprint.
    void ResetPeak();

private:
    std::atomic<std::int64_t> m_bytesInUse{0};
    std::atomic<std::int64_t> m_peakBytes{0};
    std::atomic<std::int64_t> m_blocksInUse{0};
    std::atomic<std::int64_t> m_totalAllocations{0};
};

Z_EXPORT extern ZSmallBlockAllocator g_SBA;
