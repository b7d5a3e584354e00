#pragma once

#include <vector>

#include "ZChaosRandom.h"
#include "ZFault.h"

// Draws the campaign's faults, one step at a time, from the seed and from which node managers run
// (which the faults drawn before decided): the same seed gives the same steps.
class ZFaultSchedule {
public:
    ZFaultSchedule(ZChaosRandom& random, int managers, int relayedIndex, int deadTimeSecs);

    // `running[i]`: whether manager i runs now.
    ZStep Next(const std::vector<bool>& running);

    // Bounds of the drawn durations: a short freeze or stall stays clear of the dead time, even
    // with a sign of life a third of the dead time old; a long one exceeds it by over a monitor run.
    int ShortestMs() const { return 200; }
    int LongestShortMs() const;
    int ShortestLongMs() const { return m_deadTimeSecs * 1000 + 2500; }
    int LongestLongMs() const { return m_deadTimeSecs * 1000 + 4000; }

private:
    bool Eligible(ZFaultKind kind, const std::vector<bool>& running) const;
    ZFault Draw(ZFaultKind kind, const std::vector<bool>& running, int exclude);
    int PickRunning(const std::vector<bool>& running, int exclude);

    ZChaosRandom& m_random;
    const int m_managers;
    const int m_relayed;
    const int m_deadTimeSecs;
};
