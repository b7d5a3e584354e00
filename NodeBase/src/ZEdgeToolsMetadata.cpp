#include "NodeBase/ZEdgeToolsMetadata.h"

#include "ZMessages/ZCommStream.h"

bool ZEdgeToolsMetadata::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->SerializeObjectArray("AnchorPoints", m_anchorPoints);
    stream->SerializeEnum("SourcePos", m_sourcePos);
    stream->Serialize("SourcePosIdx", m_sourcePosIdx, false);
    stream->SerializeEnum("TargetPos", m_targetPos);
    stream->Serialize("TargetPosIdx", m_targetPosIdx, false);
    return true;
}

bool ZEdgeToolsMetadata::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->DeserializeObjectArray("AnchorPoints", m_anchorPoints);
    stream->DeserializeEnum("SourcePos", m_sourcePos);
    stream->Deserialize("SourcePosIdx", m_sourcePosIdx);
    stream->DeserializeEnum("TargetPos", m_targetPos);
    stream->Deserialize("TargetPosIdx", m_targetPosIdx);
    return true;
}
