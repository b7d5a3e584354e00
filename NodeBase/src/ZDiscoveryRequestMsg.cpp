#include "NodeBase/ZDiscoveryRequestMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZDiscoveryRequestMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("name", m_name, false);
    stream->Serialize("aliases", m_aliases, false);
    stream->Serialize("className", m_className, false);
    stream->Serialize("group", m_group, false);
    stream->Serialize("nodeManagerUID", m_nodeManagerUID.AsString(), false);
    stream->Serialize("uid", m_uid.AsString(), false);
    if (m_bNumbered) {
        stream->Serialize("bNumbered", m_bNumbered, false);
    }
    return true;
}

bool ZDiscoveryRequestMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("name", m_name);
    stream->Deserialize("aliases", m_aliases);
    stream->Deserialize("className", m_className);
    stream->Deserialize("group", m_group);
    if (ZString text; stream->Deserialize("nodeManagerUID", text)) {
        m_nodeManagerUID = ZNodeUID(text);
    }
    if (ZString text; stream->Deserialize("uid", text)) {
        m_uid = ZNodeUID(text);
    }
    stream->Deserialize("bNumbered", m_bNumbered);
    return true;
}
