#include "ZMessages/ZRadarModeMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZRadarModeMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("mode", m_mode, false);
    stream->Serialize("bTransmit", m_bTransmit, false);
    return true;
}

bool ZRadarModeMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("mode", m_mode);
    stream->Deserialize("bTransmit", m_bTransmit);
    return true;
}
