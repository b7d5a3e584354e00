#include "NodeBase/ZNodeUIDMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZNodeUIDMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("className", m_className, false);
    stream->Serialize("groupName", m_groupName, false);
    stream->Serialize("nodeUID", m_nodeUID, false);
    return true;
}

bool ZNodeUIDMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("className", m_className);
    stream->Deserialize("groupName", m_groupName);
    stream->Deserialize("nodeUID", m_nodeUID);
    return true;
}
