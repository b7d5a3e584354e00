#include "ZMessages/ZGenericResponseMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZGenericResponseMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("text", m_text, false);
    stream->Serialize("bSuccess", m_bSuccess, false);
    stream->SerializeEnum("ErrCode", m_errCode);
    return true;
}

bool ZGenericResponseMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("text", m_text);
    stream->Deserialize("bSuccess", m_bSuccess);
    stream->DeserializeEnum("ErrCode", m_errCode);
    return true;
}
