#include "ZMessages/ZVersionInfoMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZVersionInfoMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    ZGenericResponseMsg::Serialize(stream);
    stream->Serialize("versionTag", m_versionTag, false);
    stream->Serialize("versionHash", m_versionHash, false);
    return true;
}

bool ZVersionInfoMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    ZGenericResponseMsg::Deserialize(stream);
    stream->Deserialize("versionTag", m_versionTag);
    stream->Deserialize("versionHash", m_versionHash);
    return true;
}
