#include "ZShared/ZSmallBlockAllocator.h"

#include <cstdlib>
#include <new>
#include <type_traits>

static_assert(std::is_trivially_destructible_v<ZSmallBlockAllocator>,
              "g_SBA must stay usable by static destructors that run after it");

namespace {
// Each block carries its size in front so FreeMem needs only the pointer; 16 bytes keep the
// payload aligned for every fundamental type.
constexpr std::size_t kHeader = 16;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

// Twice what the buffers of a topology of 10,000 nodes take, so that they are reused from one clone
// to the next.
constexpr std::size_t kGlobalCacheBytes = std::size_t{32} << 20;

struct ZSizeClass {
    std::size_t m_index;
    std::size_t m_capacity;
};

// The class of a size in (kLargeBlock, kLargestCached]: the smallest of q * 2^(e-2), q in 5..8,
// that holds it.
ZSizeClass ClassOf(std::size_t size) {
    int e = 0;
    for (std::size_t rest = (size - 1) >> 1; rest != 0; rest >>= 1) {
        ++e;
    }
    const std::size_t step = std::size_t{1} << (e - 2);
    const std::size_t q = (size + step - 1) / step;
    return {static_cast<std::size_t>(e - 17) * 4 + (q - 5), q * step};
}

std::size_t CapacityOf(std::size_t classIndex) {
    return (5 + classIndex % 4) << (17 + classIndex / 4 - 2);
}

bool IsCachedSize(std::size_t size) {
    return size > ZSmallBlockAllocator::kLargeBlock && size <= ZSmallBlockAllocator::kLargestCached;
}
}  // namespace

ZSmallBlockAllocator g_SBA(kGlobalCacheBytes);

ZSmallBlockAllocator::ZSmallBlockAllocator(std::size_t cacheBytes)
    : m_cacheLimit(kSanitized ? 0 : cacheBytes) {}

void* ZSmallBlockAllocator::AllocateMem(std::size_t size) {
    if (size > static_cast<std::size_t>(-1) - kHeader) {
        throw std::bad_alloc();
    }
    unsigned char* raw = nullptr;
    if (m_cacheLimit != 0 && IsCachedSize(size)) {
        const ZSizeClass sizeClass = ClassOf(size);
        raw = static_cast<unsigned char*>(TakeCached(sizeClass.m_index, sizeClass.m_capacity));
        if (raw == nullptr) {
            raw = static_cast<unsigned char*>(std::malloc(sizeClass.m_capacity + kHeader));
        }
    } else {
        raw = static_cast<unsigned char*>(std::malloc(size + kHeader));
    }
    if (raw == nullptr) {
        throw std::bad_alloc();
    }
    *reinterpret_cast<std::size_t*>(raw) = size;
    const auto inUse = m_bytesInUse.fetch_add(static_cast<std::int64_t>(size), std::memory_order_relaxed) +
                       static_cast<std::int64_t>(size);
    m_blocksInUse.fetch_add(1, std::memory_order_relaxed);
    m_totalAllocations.fetch_add(1, std::memory_order_relaxed);
    auto peak = m_peakBytes.load(std::memory_order_relaxed);
    while (inUse > peak && !m_peakBytes.compare_exchange_weak(peak, inUse, std::memory_order_relaxed)) {
    }
    return raw + kHeader;
}

void ZSmallBlockAllocator::FreeMem(void* p) noexcept {
    if (p == nullptr) {
        return;
    }
    auto* raw = static_cast<unsigned char*>(p) - kHeader;
    const auto size = *reinterpret_cast<std::size_t*>(raw);
    m_bytesInUse.fetch_sub(static_cast<std::int64_t>(size), std::memory_order_relaxed);
    m_blocksInUse.fetch_sub(1, std::memory_order_relaxed);
    if (m_cacheLimit != 0 && IsCachedSize(size)) {
        const ZSizeClass sizeClass = ClassOf(size);
        if (Keep(sizeClass.m_index, sizeClass.m_capacity, raw)) {
            return;
        }
    }
    std::free(raw);
}

void* ZSmallBlockAllocator::TakeCached(std::size_t classIndex, std::size_t capacity) noexcept {
    std::lock_guard<std::mutex> lock(m_cacheMutex);
    std::uint8_t& count = m_cacheCount[classIndex];
    if (count == 0) {
        return nullptr;
    }
    m_cachedBytes -= capacity;
    m_classUse[classIndex] = ++m_useTick;
    return m_cache[classIndex][--count];
}

// A block that would take the cache past its limit pushes out the blocks of the sizes used least
// recently: those of an earlier working set (start-up, say) must not hold the room for good.
bool ZSmallBlockAllocator::Keep(std::size_t classIndex, std::size_t capacity, void* raw) noexcept {
    void* evicted[kClasses * kBlocksPerClass];
    std::size_t evictedCount = 0;
    bool kept = false;
    {
        std::lock_guard<std::mutex> lock(m_cacheMutex);
        std::uint8_t& count = m_cacheCount[classIndex];
        if (count < kBlocksPerClass && capacity <= m_cacheLimit) {
            while (m_cachedBytes + capacity > m_cacheLimit) {
                std::size_t oldest = kClasses;
                for (std::size_t i = 0; i < kClasses; ++i) {
                    if (i != classIndex && m_cacheCount[i] > 0 &&
                        (oldest == kClasses || m_classUse[i] < m_classUse[oldest])) {
                        oldest = i;
                    }
                }
                if (oldest == kClasses) {
                    break;
                }
                evicted[evictedCount++] = m_cache[oldest][--m_cacheCount[oldest]];
                m_cachedBytes -= CapacityOf(oldest);
            }
            if (m_cachedBytes + capacity <= m_cacheLimit) {
                m_cache[classIndex][count++] = raw;
                m_cachedBytes += capacity;
                m_classUse[classIndex] = ++m_useTick;
                kept = true;
            }
        }
    }
    for (std::size_t i = 0; i < evictedCount; ++i) {
        std::free(evicted[i]);  // outside the lock: giving memory back can take a while
    }
    return kept;
}

std::int64_t ZSmallBlockAllocator::CachedBytes() const {
    std::lock_guard<std::mutex> lock(m_cacheMutex);
    return static_cast<std::int64_t>(m_cachedBytes);
}

void ZSmallBlockAllocator::ReleaseCache() noexcept {
    std::lock_guard<std::mutex> lock(m_cacheMutex);
    for (std::size_t i = 0; i < kClasses; ++i) {
        while (m_cacheCount[i] > 0) {
            std::free(m_cache[i][--m_cacheCount[i]]);
        }
    }
    m_cachedBytes = 0;
}

void ZSmallBlockAllocator::ResetPeak() {
    m_peakBytes.store(BytesInUse(), std::memory_order_relaxed);
}
