#pragma once

#include <string>
#include <vector>

#include "ZHostConfig.h"

// What one node manager of the campaign is, as drawn from the seed: its UID and dead time, its
// nodes (named ones with a UID of their own, unnamed ones numbered by the discovery node) and the
// connections it records. The discovery host is a plan too, with no nodes of its own.
struct ZManagerPlan {
    struct ZNode {
        std::string m_name;
        std::string m_uid;  // empty: numbered by the discovery node
    };
    struct ZEdge {
        std::string m_from;  // endpoint texts, "status/<UID>/outN" and "control/<UID>/inN"
        std::string m_to;
        bool m_bCross = false;  // the far end is another manager's node
    };

    std::string m_uid;
    int m_deadTimeSecs = 0;           // the manager's own NodeManagerTimeoutSecs
    int m_discoveryDeadTimeSecs = 0;  // not 0: hosts the discovery node with this dead time
    bool m_bRelayed = false;          // reaches the broker through the campaign's relay
    std::vector<ZNode> m_nodes;
    std::vector<ZEdge> m_edges;

    bool HostsDiscovery() const { return m_discoveryDeadTimeSecs > 0; }
    const ZNode* FindNode(const std::string& name) const;
    ZHostConfig Config() const;
};
