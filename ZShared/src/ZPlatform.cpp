#include "ZShared/ZPlatform.h"

#include <atomic>
#include <ctime>
#include <mutex>

ZSteadyClock::~ZSteadyClock() = default;

namespace {
std::atomic<const ZSteadyClock*> g_clock{nullptr};

std::mutex g_setterMutex;
ZPlatform::HardwareClockSetter& Setter() {
    static ZPlatform::HardwareClockSetter setter;
    return setter;
}

bool SetSystemClock(std::int64_t seconds) {
    timespec now{};
    now.tv_sec = static_cast<time_t>(seconds);
    return clock_settime(CLOCK_REALTIME, &now) == 0;
}
}  // namespace

ZSteadyTimePoint ZPlatform::SteadyNow() {
    const ZSteadyClock* clock = g_clock.load(std::memory_order_acquire);
    return clock != nullptr ? clock->Now() : std::chrono::steady_clock::now();
}

void ZPlatform::SetSteadyClock(const ZSteadyClock* clock) { g_clock.store(clock, std::memory_order_release); }

bool ZPlatform::SetHardwareClock(std::int64_t secondsSinceEpoch) {
    HardwareClockSetter setter;
    {
        std::lock_guard<std::mutex> lock(g_setterMutex);
        setter = Setter();
    }
    return setter ? setter(secondsSinceEpoch) : SetSystemClock(secondsSinceEpoch);
}

void ZPlatform::SetHardwareClockSetter(HardwareClockSetter setter) {
    std::lock_guard<std::mutex> lock(g_setterMutex);
    Setter() = std::move(setter);
}
