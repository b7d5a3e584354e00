#pragma once

#include <memory>

#include "NodeBase/ZTopologyEdge.h"
#include "NodeBase/ZTopologyNode.h"
#include "ZMessages/ZMessage.h"

// Asks the discovery node to remove nodes and connections from the topology.
class Z_EXPORT ZDiscoveryDeleteMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryDeleteMsg)

public:
    // "nodes" and "edges", arrays of node and edge records.
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    // Replaces each list that the stream holds.
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZVector<ZTopologyNode> m_nodes;
    ZVector<ZTopologyEdge> m_edges;
};
