#include "NodeBase/ZDiscoveryRequestMasterNodeManagerUIDMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZDiscoveryRequestMasterNodeManagerUIDMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("requester", m_requester, false);
    return true;
}

bool ZDiscoveryRequestMasterNodeManagerUIDMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("requester", m_requester);
    return true;
}
