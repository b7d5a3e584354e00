#include "NodeBase/ZNodeToolsMetadata.h"

#include "ZMessages/ZCommStream.h"

bool ZNodeToolsMetadata::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("editorPositionLeft", m_editorPositionLeft, false);
    stream->Serialize("editorPositionTop", m_editorPositionTop, false);
    stream->Serialize("editorSizeWidth", m_editorSizeWidth, false);
    stream->Serialize("editorSizeHeight", m_editorSizeHeight, false);
    return true;
}

bool ZNodeToolsMetadata::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("editorPositionLeft", m_editorPositionLeft);
    stream->Deserialize("editorPositionTop", m_editorPositionTop);
    stream->Deserialize("editorSizeWidth", m_editorSizeWidth);
    stream->Deserialize("editorSizeHeight", m_editorSizeHeight);
    return true;
}
