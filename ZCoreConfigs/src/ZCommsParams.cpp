#include "ZCoreConfigs/ZCommsParams.h"

#include "ZMessages/ZCommStream.h"

// One list of keys serves both directions, so the two can never disagree on order or names.
#define Z_COMMS_PARAMS_KEYS(X)  \
    X(TransportURL)             \
    X(bIsServer)                \
    X(ConnectTryTimeoutSecs)    \
    X(ConnectRetries)           \
    X(bZCoreBlockUntilConnect)  \
    X(MaxRetries)               \
    X(AckTimeoutMs)             \
    X(GetNextMessageTimeoutMs)  \
    X(WarnAfterRetryCount)      \
    X(MessageGetPriority)       \
    X(nThreads)                 \
    X(nMaxOutstandingAcks)      \
    X(nMaxOutstandingMessages)  \
    X(nMaxMessageBytes)         \
    X(MaxBufferedMQTTMessages)  \
    X(MessageDeliveryTimeoutMs) \
    X(bSyncTime)                \
    X(debugFilter)              \
    X(debugPriority)            \
    X(debugRemoteOnly)

bool ZCommsParams::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
#define Z_WRITE(key) stream->Serialize(#key, key, false);
    Z_COMMS_PARAMS_KEYS(Z_WRITE)
#undef Z_WRITE
    return true;
}

bool ZCommsParams::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
#define Z_READ(key) stream->Deserialize(#key, key);
    Z_COMMS_PARAMS_KEYS(Z_READ)
#undef Z_READ
    return true;
}
