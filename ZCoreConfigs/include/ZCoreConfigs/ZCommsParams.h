#pragma once

#include "ZCoreConfigs/ZConfig.h"

// A node's messaging transport: where to connect, retries, time-outs, flow limits, clock
// synchronisation and debug filtering. Members are named after their keys.
class Z_EXPORT ZCommsParams : public ZConfig {
    Z_FACTORY_CLASS(ZCommsParams)

public:
    ZCommsParams() = default;

    // Writes all twenty keys, every time.
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    // Absent keys keep their values; no range checks.
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZString TransportURL;
    float ConnectTryTimeoutSecs = 1.2f;
    std::int32_t ConnectRetries = 5;
    std::int32_t MaxBufferedMQTTMessages = 4096;
    bool bZCoreBlockUntilConnect = false;
    bool bIsServer = false;
    std::int32_t MaxRetries = 10;
    std::int32_t AckTimeoutMs = 200;
    std::int32_t nThreads = 8;
    std::int32_t GetNextMessageTimeoutMs = 100;
    std::int32_t WarnAfterRetryCount = 5;
    std::int32_t MessageDeliveryTimeoutMs = 5000;
    std::int32_t MessageGetPriority = 5000;
    std::int32_t nMaxOutstandingAcks = 32;
    std::int32_t nMaxOutstandingMessages = 64;
    std::int32_t nMaxMessageBytes = 10240;
    bool bSyncTime = false;
    ZStringList debugFilter;
    std::int32_t debugPriority = 0;
    bool debugRemoteOnly = true;
};
