#include "ZCoreConfigs/ZTraceLogParams.h"

#include "ZMessages/ZCommStream.h"

bool ZTraceLogParams::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    ZLogParams::Serialize(stream);
    stream->Serialize("nTraceMask", m_traceMask, false);
    return true;
}

bool ZTraceLogParams::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    ZLogParams::Deserialize(stream);
    stream->Deserialize("nTraceMask", m_traceMask);
    return true;
}
