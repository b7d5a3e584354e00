#pragma once

#include <memory>

#include "ZMessages/ZMessage.h"
#include "ZShared/ZNodeUID.h"

// Asks the discovery node to register one node with its node manager. A node manager registering
// again a node that a discovery node numbered says so (m_bNumbered), so that a discovery node that
// restarted never hands that number out a second time.
class Z_EXPORT ZDiscoveryRequestMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryRequestMsg)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;
    bool IsCloneable() const override { return true; }

    ZString m_name;
    ZStringList m_aliases;
    ZString m_className;
    ZString m_group;
    ZNodeUID m_nodeManagerUID;
    ZNodeUID m_uid;
    bool m_bNumbered = false;  // "bNumbered", written only when set
};
