#pragma once

#include <memory>

#include "ZMessages/ZMessage.h"

// Asks the discovery node to add a plug-in to the topology.
class Z_EXPORT ZDiscoveryPluginMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryPluginMsg)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZString m_pluginName;
};
