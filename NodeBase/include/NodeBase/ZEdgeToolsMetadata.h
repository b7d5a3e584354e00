#pragma once

#include "NodeBase/ZAnchorPointToolsMetadata.h"
#include "NodeBase/ZEdgeAnchor.h"
#include "ZMessages/ZMessage.h"

// How the graphical editor routes an edge's line: the sides it leaves and enters and its anchor
// points. Stored and returned, never interpreted.
class Z_EXPORT ZEdgeToolsMetadata : public ZMessage {
    Z_FACTORY_CLASS(ZEdgeToolsMetadata)

public:
    ZEdgeToolsMetadata() : m_logSource(StaticClassName()) {}
    // "AnchorPoints" (omitted when empty), "SourcePos", "SourcePosIdx", "TargetPos", "TargetPosIdx".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    // Anchor points read are appended to those already held.
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZVector<std::shared_ptr<ZAnchorPointToolsMetadata>> m_anchorPoints;
    ZEdgeAnchorPosition m_sourcePos = ZEdgeAnchorPosition::ZUNDEFINED;
    ZEdgeAnchorPosition m_targetPos = ZEdgeAnchorPosition::ZUNDEFINED;
    std::int32_t m_sourcePosIdx = 0;
    std::int32_t m_targetPosIdx = 0;
    const char* m_logSource;
    std::int32_t m_logLevel = 0;
};
