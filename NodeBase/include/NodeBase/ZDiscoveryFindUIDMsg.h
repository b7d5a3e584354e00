#pragma once

#include <memory>

#include "ZMessages/ZMessage.h"

// Asks the discovery node for the UID of the node of a class in a group; answered by a
// ZNodeUIDMsg.
class Z_EXPORT ZDiscoveryFindUIDMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryFindUIDMsg)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZString m_className;
    ZString m_groupName;
};
