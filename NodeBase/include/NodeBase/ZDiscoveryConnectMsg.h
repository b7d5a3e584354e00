#pragma once

#include <memory>

#include "NodeBase/ZTopologyEdge.h"
#include "ZMessages/ZMessage.h"

// Asks the discovery node to record a connection between two endpoints.
class Z_EXPORT ZDiscoveryConnectMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryConnectMsg)

public:
    // The edge's own keys as the child "edge".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZTopologyEdge m_edge;
};
