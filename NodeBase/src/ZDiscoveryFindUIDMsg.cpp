#include "NodeBase/ZDiscoveryFindUIDMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZDiscoveryFindUIDMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("className", m_className, false);
    stream->Serialize("groupName", m_groupName, false);
    return true;
}

bool ZDiscoveryFindUIDMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("className", m_className);
    stream->Deserialize("groupName", m_groupName);
    return true;
}
