#include "NodeBase/ZDiscoveryDeleteMsg.h"

#include "ZMessages/ZCommStream.h"
#include "ZRecordArray.h"

bool ZDiscoveryDeleteMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    ZRecordArray::Write(stream, "nodes", m_nodes);
    ZRecordArray::Write(stream, "edges", m_edges);
    return true;
}

bool ZDiscoveryDeleteMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    ZRecordArray::Read(stream, "nodes", m_pEnvironment, m_nodes);
    ZRecordArray::Read(stream, "edges", m_pEnvironment, m_edges);
    return true;
}
