#pragma once

#include <memory>

#include "ZMessages/ZMessage.h"

// Names the master node manager, in answer to a
// ZDiscoveryRequestMasterNodeManagerUIDMsg.
class Z_EXPORT ZDiscoveryMasterNodeManagerUIDMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryMasterNodeManagerUIDMsg)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZString m_masterNodeManagerUID;
};
