#pragma once

#include "ZCoreConfigs/ZConfig.h"

// Recording of the messages a node sends and receives, for debugging a running system.
class Z_EXPORT ZMessageLogParams : public ZConfig {
    Z_FACTORY_CLASS(ZMessageLogParams)

public:
    ZMessageLogParams() = default;
    // "bEnabled", "LogPath", "Classes" (message class names; empty: all), "nMaxLoggedBytes".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    bool m_bEnabled = false;
    ZString m_logPath;
    ZStringList m_classes;
    std::int32_t m_maxLoggedBytes = 1024;
};
