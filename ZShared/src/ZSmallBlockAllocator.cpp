#include "ZShared/ZSmallBlockAllocator.h"

#include <cstdlib>
#include <new>

ZSmallBlockAllocator g_SBA;

namespace {
// Each block carries its size in front so FreeMem needs only the pointer; 16 bytes keep the
// payload aligned for every fundamental type.
constexpr std::size_t kHeader = 16;
}  // namespace

void* ZSmallBlockAllocator::AllocateMem(std::size_t size) {
    if (size > static_cast<std::size_t>(-1) - kHeader) {
        throw std::bad_alloc();
    }
    auto* raw = static_cast<unsigned char*>(std::malloc(size + kHeader));
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
    std::free(raw);
}

void ZSmallBlockAllocator::ResetPeak() { m_peakBytes.store(BytesInUse(), std::memory_order_relaxed); }
