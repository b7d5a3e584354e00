#pragma once

#include "ZCoreConfigs/ZConfig.h"

// System-wide settings. The node-manager timeout is the dead time after which a silent node
// manager is removed from the topology; node managers send a sign of life well within it.
class Z_EXPORT ZSystemParams : public ZConfig {
    Z_FACTORY_CLASS(ZSystemParams)

public:
    ZSystemParams() = default;
    // "NodeManagerTimeoutSecs".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    std::int32_t m_nodeManagerTimeoutSecs = 10;
};
