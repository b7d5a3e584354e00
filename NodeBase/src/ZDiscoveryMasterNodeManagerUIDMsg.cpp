#include "NodeBase/ZDiscoveryMasterNodeManagerUIDMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZDiscoveryMasterNodeManagerUIDMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("masterNodeManagerUID", m_masterNodeManagerUID, false);
    return true;
}

bool ZDiscoveryMasterNodeManagerUIDMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("masterNodeManagerUID", m_masterNodeManagerUID);
    return true;
}
