#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "ZShared/ZSteadyClock.h"

// A steady clock that moves only when a test advances it. Installs itself as the process clock
// for its lifetime and puts the monotonic clock back when destroyed.
class ZManualClock : public ZSteadyClock {
public:
    // Starts at an arbitrary non-zero time, so "never stamped" (0) differs from "now".
    explicit ZManualClock(std::chrono::nanoseconds start = std::chrono::hours(1));
    ~ZManualClock() override;
    ZManualClock(const ZManualClock&) = delete;
    ZManualClock& operator=(const ZManualClock&) = delete;

    ZSteadyTimePoint Now() const override;
    void Advance(std::chrono::nanoseconds by);
    void Set(ZSteadyTimePoint to);

private:
    std::atomic<std::int64_t> m_nowNs;
};
