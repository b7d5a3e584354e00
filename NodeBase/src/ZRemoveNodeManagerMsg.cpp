#include "NodeBase/ZRemoveNodeManagerMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZRemoveNodeManagerMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("nodeManagerUID", m_nodeManagerUID.AsString(), false);
    // Left out when empty, so that a plain request reads as it always has.
    if (!m_reason.empty()) {
        stream->Serialize("reason", m_reason, false);
    }
    if (m_startID != 0) {
        stream->Serialize("startID", m_startID, false);
    }
    return true;
}

bool ZRemoveNodeManagerMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (ZString text; stream->Deserialize("nodeManagerUID", text)) {
        m_nodeManagerUID = ZNodeUID(text);
    }
    stream->Deserialize("reason", m_reason);
    stream->Deserialize("startID", m_startID);
    return true;
}
