#pragma once

#include "ZCoreConfigs/ZConfig.h"

// The discovery module's own configuration record: how often the topology monitor is meant to run.
class Z_EXPORT ZDiscoveryConfig : public ZConfig {
    Z_FACTORY_CLASS(ZDiscoveryConfig)

public:
    ZDiscoveryConfig() = default;
    // "TopoMonitorIntervalSecs"; any value is accepted as read.
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    std::int32_t m_topoMonitorIntervalSecs = 180;
};
