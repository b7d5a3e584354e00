#include "ZCoreConfigs/ZSystemParams.h"

#include "ZMessages/ZCommStream.h"

bool ZSystemParams::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("NodeManagerTimeoutSecs", m_nodeManagerTimeoutSecs, false);
    return true;
}

bool ZSystemParams::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("NodeManagerTimeoutSecs", m_nodeManagerTimeoutSecs);
    return true;
}
