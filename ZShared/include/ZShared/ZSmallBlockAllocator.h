#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "ZShared/ZExport.h"

// Process-wide allocator behind every framework string, container and shared object.
// A thin layer over malloc that keeps bytes-in-use and peak counters, so a leak or a
// growing footprint shows up in tests, benchmarks and diagnostics.
//
// An allocator may keep freed large blocks (above kLargeBlock) for reuse, up to a byte limit given
// at construction: cloning a large message allocates and frees the same few large buffers each
// time, and handing them back to the system means the kernel zeroes fresh pages on every clone.
// Kept blocks do not count as in use.
class Z_EXPORT ZSmallBlockAllocator {
public:
    constexpr ZSmallBlockAllocator() = default;
    // Keeps up to `cacheBytes` of freed large blocks (none under address sanitizers, which must see
    // every block freed).
    explicit ZSmallBlockAllocator(std::size_t cacheBytes);

    void* AllocateMem(std::size_t size);
    void FreeMem(void* p) noexcept;

    std::int64_t BytesInUse() const { return m_bytesInUse.load(std::memory_order_relaxed); }
    std::int64_t PeakBytes() const { return m_peakBytes.load(std::memory_order_relaxed); }
    std::int64_t BlocksInUse() const { return m_blocksInUse.load(std::memory_order_relaxed); }
    std::int64_t TotalAllocations() const { return m_totalAllocations.load(std::memory_order_relaxed); }
    // Starts a new peak measurement from the current footprint.
    void ResetPeak();
    // Bytes of freed large blocks kept for reuse.
    std::int64_t CachedBytes() const;
    // Gives every kept block back to the system.
    void ReleaseCache() noexcept;

    static constexpr std::size_t kLargeBlock = std::size_t{128} << 10;
    static constexpr std::size_t kLargestCached = std::size_t{32} << 20;

private:
    // Large sizes round up to one of four steps per power of two, so a kept block fits every
    // request of its class.
    static constexpr std::size_t kStepsPerDoubling = 4;
    static constexpr std::size_t kClasses = 8 * kStepsPerDoubling;  // 128 KiB to 32 MiB
    static constexpr std::size_t kBlocksPerClass = 4;

    void* TakeCached(std::size_t classIndex, std::size_t capacity) noexcept;
    bool Keep(std::size_t classIndex, std::size_t capacity, void* raw) noexcept;

    std::atomic<std::int64_t> m_bytesInUse{0};
    std::atomic<std::int64_t> m_peakBytes{0};
    std::atomic<std::int64_t> m_blocksInUse{0};
    std::atomic<std::int64_t> m_totalAllocations{0};

    // Every member is trivially destructible: g_SBA serves frees from static destructors that run
    // after its own would have.
    mutable std::mutex m_cacheMutex;
    std::size_t m_cacheLimit = 0;
    std::size_t m_cachedBytes = 0;
    void* m_cache[kClasses][kBlocksPerClass] = {};
    std::uint8_t m_cacheCount[kClasses] = {};
    // When each class was last kept or taken, for choosing what a full cache gives back.
    std::uint64_t m_classUse[kClasses] = {};
    std::uint64_t m_useTick = 0;
};

Z_EXPORT extern ZSmallBlockAllocator g_SBA;
