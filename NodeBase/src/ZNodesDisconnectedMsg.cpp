#include "NodeBase/ZNodesDisconnectedMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZNodesDisconnectedMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("nodeUIDs", m_nodeUIDs, false);
    return true;
}

bool ZNodesDisconnectedMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("nodeUIDs", m_nodeUIDs);
    return true;
}
