#include "NodeBase/ZTopologyEdge.h"

#include "NodeBase/ZEdgeToolsMetadata.h"
#include "ZMessages/ZCommStream.h"

ZTopologyEdge::ZTopologyEdge() = default;

ZTopologyEdge::ZTopologyEdge(const ZCommEndpoint& from, const ZCommEndpoint& to, const ZString& fromGroup,
                             const ZString& toGroup)
    : m_from(from), m_to(to), m_fromGroup(fromGroup), m_toGroup(toGroup) {}

ZTopologyEdge::~ZTopologyEdge() = default;

ZString ZTopologyEdge::AsString() const {
    ZString text = m_from.AsString();
    text += " --> ";
    text += m_to.AsString();
    return text;
}

bool ZTopologyEdge::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    m_from.Serialize(stream, "from");
    m_to.Serialize(stream, "to");
    if (!m_fromGroup.empty()) {
        stream->Serialize("fromGroup", m_fromGroup, false);
    }
    if (!m_toGroup.empty()) {
        stream->Serialize("toGroup", m_toGroup, false);
    }
    if (m_pToolsMetadata) {
        stream->SerializeObject("toolsmetadata", m_pToolsMetadata);
    }
    return true;
}

bool ZTopologyEdge::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    m_from.Deserialize(stream, "from");
    m_to.Deserialize(stream, "to");
    stream->Deserialize("fromGroup", m_fromGroup);
    stream->Deserialize("toGroup", m_toGroup);
    if (auto child = stream->ReadChild("toolsmetadata")) {
        m_pToolsMetadata = stream->DeserializeChildClass<ZEdgeToolsMetadata>(child);
    }
    return true;
}
