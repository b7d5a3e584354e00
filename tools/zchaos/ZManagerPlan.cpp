#include "ZManagerPlan.h"

namespace {
// A graph of a hundred managers answers gettopo with some 100 kB; the default allows 10 kB.
constexpr int kHostMaxMessageBytes = 4 * 1024 * 1024;
}  // namespace

const ZManagerPlan::ZNode* ZManagerPlan::FindNode(const std::string& name) const {
    for (const auto& node : m_nodes) {
        if (node.m_name == name) {
            return &node;
        }
    }
    return nullptr;
}

ZHostConfig ZManagerPlan::Config() const {
    ZHostConfig config(m_uid, "Chaos");
    config.DeadTime(m_deadTimeSecs);
    if (HostsDiscovery()) {
        config.HostDiscovery(m_discoveryDeadTimeSecs).MaxMessageBytes(kHostMaxMessageBytes);
    }
    for (const auto& node : m_nodes) {
        config.AddNode("ZNode", node.m_name, node.m_uid, "Chaos");
    }
    for (const auto& edge : m_edges) {
        config.Connect(edge.m_from, edge.m_to);
    }
    return config;
}
