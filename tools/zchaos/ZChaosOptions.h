#pragma once

#include <cstdint>
#include <string>

// What a campaign is asked to do: zchaos's command line.
struct ZChaosOptions {
    std::uint64_t m_seed = 0;
    int m_faults = 30;
    int m_managers = 8;
    double m_durationMinutes = 0;  // not 0: a churn for so long instead of a count of faults
    int m_deadTimeSecs = 3;        // the discovery node's
    int m_settleMarginSecs = 15;   // how long past the dead time a step may take to settle
    bool m_bKeep = false;
    std::string m_znodemanager;
    std::string m_discoveryModule;
};
