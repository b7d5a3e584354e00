#pragma once

#include <cstdint>

#include "ZMessages/ZMessage.h"

// Asks the radar to change its operating mode. A framework message: modules register it.
class Z_EXPORT ZRadarModeMsg : public ZMessage {
    Z_FACTORY_CLASS(ZRadarModeMsg)

public:
    ZRadarModeMsg() = default;
    // "mode", "bTransmit".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    std::int32_t m_mode = 0;
    bool m_bTransmit = false;
};
