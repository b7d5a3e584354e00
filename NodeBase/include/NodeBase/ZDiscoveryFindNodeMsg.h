#pragma once

#include <memory>

#include "ZMessages/ZMessage.h"

// Asks the discovery node for the node with this UID.
class Z_EXPORT ZDiscoveryFindNodeMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryFindNodeMsg)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZString m_nodeUID;
};
