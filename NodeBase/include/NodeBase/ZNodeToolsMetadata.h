#pragma once

#include "ZMessages/ZMessage.h"

// Where the graphical editor draws a node's box. Stored and returned, never interpreted.
class Z_EXPORT ZNodeToolsMetadata : public ZMessage {
    Z_FACTORY_CLASS(ZNodeToolsMetadata)

public:
    ZNodeToolsMetadata() : m_logSource(StaticClassName()) {}
    // "editorPositionLeft", "editorPositionTop", "editorSizeWidth", "editorSizeHeight".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    double m_editorPositionLeft = 0;
    double m_editorPositionTop = 0;
    double m_editorSizeWidth = 0;
    double m_editorSizeHeight = 0;
    const char* m_logSource;
    std::int32_t m_logLevel = 0;
};
