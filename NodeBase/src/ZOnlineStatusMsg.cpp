#include "NodeBase/ZOnlineStatusMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZOnlineStatusMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("bOnline", m_bOnline, false);
    stream->Serialize("nodeManagerUID", m_nodeManagerUID.AsString(), false);
    stream->Serialize("startID", m_startID, false);
    return true;
}

bool ZOnlineStatusMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("bOnline", m_bOnline);
    if (ZString text; stream->Deserialize("nodeManagerUID", text)) {
        m_nodeManagerUID = ZNodeUID(text);
    }
    stream->Deserialize("startID", m_startID);
    return true;
}
