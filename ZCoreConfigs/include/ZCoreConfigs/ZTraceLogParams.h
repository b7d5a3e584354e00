#pragma once

#include "ZCoreConfigs/ZLogParams.h"

// The trace log: a log with a mask that selects which trace channels are written.
class Z_EXPORT ZTraceLogParams : public ZLogParams {
    Z_FACTORY_CLASS(ZTraceLogParams)

public:
    ZTraceLogParams() = default;
    // The log keys, then "nTraceMask".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    std::int32_t m_traceMask = 0;
};
