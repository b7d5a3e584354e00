#include "NodeBase/ZRemoveNodeManagerMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZRemoveNodeManagerMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("nodeManagerUID", m_nodeManagerUID.AsString(), false);
    return true;
}

bool ZRemoveNodeManagerMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (ZString text; stream->Deserialize("nodeManagerUID", text)) {
        m_nodeManagerUID = ZNodeUID(text);
    }
    return true;
}
