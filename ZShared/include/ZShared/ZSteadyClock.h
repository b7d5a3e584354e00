#pragma once

#include <chrono>

#include "ZShared/ZExport.h"

using ZSteadyTimePoint = std::chrono::steady_clock::time_point;

// Source of steady-clock time. Production reads the monotonic clock; tests install a clock
// they advance by hand (ZPlatform::SetSteadyClock).
class Z_EXPORT ZSteadyClock {
public:
    virtual ~ZSteadyClock();
    virtual ZSteadyTimePoint Now() const = 0;
};
