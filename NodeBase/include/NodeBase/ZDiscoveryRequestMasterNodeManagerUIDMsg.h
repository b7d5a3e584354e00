#pragma once

#include <memory>

#include "ZMessages/ZMessage.h"

// Asks the discovery node which node manager is the master.
class Z_EXPORT ZDiscoveryRequestMasterNodeManagerUIDMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryRequestMasterNodeManagerUIDMsg)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZString m_requester;
};
