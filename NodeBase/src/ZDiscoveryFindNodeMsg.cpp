#include "NodeBase/ZDiscoveryFindNodeMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZDiscoveryFindNodeMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("nodeUID", m_nodeUID, false);
    return true;
}

bool ZDiscoveryFindNodeMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("nodeUID", m_nodeUID);
    return true;
}
