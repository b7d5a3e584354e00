#pragma once

#include <cstdint>
#include <functional>

#include "ZShared/ZExport.h"
#include "ZShared/ZSteadyClock.h"

// The framework's view of the machine: steady time and the device clock. Both go through
// replaceable seams so that tests control time and never touch the real system clock.
class Z_EXPORT ZPlatform {
public:
    static ZSteadyTimePoint SteadyNow();
    // Installs a clock; null restores the monotonic clock. The clock must outlive its use.
    static void SetSteadyClock(const ZSteadyClock* clock);

    // Sets the device's wall clock to whole seconds since the Unix epoch. False when the clock
    // could not be set (for instance without the privilege to do so).
    static bool SetHardwareClock(std::int64_t secondsSinceEpoch);
    // Replaces what SetHardwareClock does; an empty function restores the system call.
    using HardwareClockSetter = std::function<bool(std::int64_t)>;
    static void SetHardwareClockSetter(HardwareClockSetter setter);
};
