#pragma once

#include <string>
#include <vector>

#include "ZChaosRandom.h"
#include "ZManagerPlan.h"

// Draws the campaign's system from the seed: the discovery host and the node managers, their dead
// times (often unlike the discovery node's), their nodes and connections, and which manager talks
// to the broker through the relay.
class ZSystemPlan {
public:
    static constexpr const char* kHostUID = "Discovery-NM";
    static constexpr int kMaxNodes = 5;
    static constexpr int kMaxDeadTimeSecs = 60;

    ZSystemPlan(ZChaosRandom& random, int managers, int discoveryDeadTimeSecs);

    const ZManagerPlan& Host() const { return m_host; }
    const std::vector<ZManagerPlan>& Managers() const { return m_managers; }
    // The index of the relayed manager, -1 without managers.
    int RelayedIndex() const { return m_relayed; }

private:
    int DrawDeadTime(ZChaosRandom& random) const;
    void DrawNodes(ZChaosRandom& random, ZManagerPlan& plan) const;
    void DrawEdges(ZChaosRandom& random, std::size_t index);

    const int m_discoveryDeadTimeSecs;
    ZManagerPlan m_host;
    std::vector<ZManagerPlan> m_managers;
    int m_relayed = -1;
};
