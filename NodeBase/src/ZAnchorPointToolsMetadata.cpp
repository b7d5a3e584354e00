#include "NodeBase/ZAnchorPointToolsMetadata.h"

#include "ZMessages/ZCommStream.h"

bool ZAnchorPointToolsMetadata::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->SerializeEnum("Pos", m_pos);
    stream->Serialize("PosIdx", m_posIdx, false);
    stream->SerializeEnum("Type", m_type);
    stream->Serialize("Left", m_left, false);
    stream->Serialize("Top", m_top, false);
    return true;
}

bool ZAnchorPointToolsMetadata::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->DeserializeEnum("Pos", m_pos);
    stream->Deserialize("PosIdx", m_posIdx);
    stream->DeserializeEnum("Type", m_type);
    stream->Deserialize("Left", m_left);
    stream->Deserialize("Top", m_top);
    return true;
}
