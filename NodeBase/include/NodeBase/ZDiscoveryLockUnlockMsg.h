#pragma once

#include <memory>

#include "ZMessages/ZMessage.h"

// Asks the discovery node to lock the topology against changes, or to unlock it.
class Z_EXPORT ZDiscoveryLockUnlockMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryLockUnlockMsg)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    bool m_bLock = false;
};
