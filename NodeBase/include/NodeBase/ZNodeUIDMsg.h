#pragma once

#include <memory>

#include "ZMessages/ZMessage.h"

// The answer to a ZDiscoveryFindUIDMsg: the class and group asked for and the UID found.
class Z_EXPORT ZNodeUIDMsg : public ZMessage {
    Z_FACTORY_CLASS(ZNodeUIDMsg)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;
    bool IsCloneable() const override { return true; }

    ZString m_className;
    ZString m_groupName;
    ZString m_nodeUID;
};
