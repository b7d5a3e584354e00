#pragma once

#include <memory>

#include "ZMessages/ZMessage.h"

// Tells subscribers which nodes have left the topology.
class Z_EXPORT ZNodesDisconnectedMsg : public ZMessage {
    Z_FACTORY_CLASS(ZNodesDisconnectedMsg)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZStringList m_nodeUIDs;
};
