#include "NodeBase/ZDiscoveryConnectMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZDiscoveryConnectMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    if (auto child = stream->CreateChild()) {
        m_edge.Serialize(child);
        stream->SerializeChild("edge", child);
    }
    return true;
}

bool ZDiscoveryConnectMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (auto child = stream->CreateChild(); child && stream->DeserializeChild("edge", child)) {
        m_edge.SetEnvironment(m_pEnvironment);
        m_edge.Deserialize(child);
    }
    return true;
}
