#include "ZTestKit/ZManualClock.h"

#include "ZShared/ZPlatform.h"

ZManualClock::ZManualClock(std::chrono::nanoseconds start) : m_nowNs(start.count()) {
    ZPlatform::SetSteadyClock(this);
}

ZManualClock::~ZManualClock() {
    ZPlatform::SetSteadyClock(nullptr);
}

ZSteadyTimePoint ZManualClock::Now() const {
    return ZSteadyTimePoint(std::chrono::nanoseconds(m_nowNs.load(std::memory_order_acquire)));
}

void ZManualClock::Advance(std::chrono::nanoseconds by) {
    m_nowNs.fetch_add(by.count(), std::memory_order_acq_rel);
}

void ZManualClock::Set(ZSteadyTimePoint to) {
    m_nowNs.store(std::chrono::duration_cast<std::chrono::nanoseconds>(to.time_since_epoch()).count(),
                  std::memory_order_release);
}
