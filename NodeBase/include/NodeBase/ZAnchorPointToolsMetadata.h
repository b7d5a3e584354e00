#pragma once

#include "NodeBase/ZEdgeAnchor.h"
#include "ZMessages/ZMessage.h"

// One anchor point along an edge's line in the graphical editor.
class Z_EXPORT ZAnchorPointToolsMetadata : public ZMessage {
    Z_FACTORY_CLASS(ZAnchorPointToolsMetadata)

public:
    ZAnchorPointToolsMetadata() : m_logSource(StaticClassName()) {}
    // "Pos", "PosIdx", "Type", "Left", "Top"; enums by name on a text stream.
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZEdgeAnchorPosition m_pos = ZEdgeAnchorPosition::ZUNDEFINED;
    std::int32_t m_posIdx = 0;
    ZEdgeAnchorType m_type = ZEdgeAnchorType::ZDYNAMIC;
    std::int32_t m_left = 0;
    std::int32_t m_top = 0;
    const char* m_logSource;
    std::int32_t m_logLevel = 0;
};
