#pragma once

#include <cstdint>

#include "ZMessages/ZMessage.h"

// Configures an antenna. A framework message: modules register it.
class Z_EXPORT ZAntennaConfigMsg : public ZMessage {
    Z_FACTORY_CLASS(ZAntennaConfigMsg)

public:
    ZAntennaConfigMsg() = default;
    // "antennaID", "gainDb", "bEnabled".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    std::int32_t m_antennaID = 0;
    double m_gainDb = 0;
    bool m_bEnabled = false;
};
