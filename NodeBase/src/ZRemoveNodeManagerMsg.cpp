#include "NodeBase/ZRemoveNodeManagerMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZRemoveNodeManagerMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("nodeManagerUID", m_nodeManagerUID.AsString(), false);
    // Left out when empty, so that a plain request reads as it always has.
    if (!m_reason.empty()) {
        stream->Serialize("reason", m_reason, false);
    }
    return true;
}

bool ZRemoveNodeManagerMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (ZString text; stream->Deserialize("nodeManagerUID", text)) {
        m_nodeManagerUID = ZNodeUID(text);
    }
    stream->Deserialize("reason", m_reason);
    return true;
}
