#include "ZMessages/ZAntennaConfigMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZAntennaConfigMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("antennaID", m_antennaID, false);
    stream->Serialize("gainDb", m_gainDb, false);
    stream->Serialize("bEnabled", m_bEnabled, false);
    return true;
}

bool ZAntennaConfigMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("antennaID", m_antennaID);
    stream->Deserialize("gainDb", m_gainDb);
    stream->Deserialize("bEnabled", m_bEnabled);
    return true;
}
