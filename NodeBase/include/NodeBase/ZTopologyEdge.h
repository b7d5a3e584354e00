#pragma once

#include <memory>

#include "ZMessages/ZCommEndpoint.h"
#include "ZMessages/ZMessage.h"

class ZEdgeToolsMetadata;

// One connection of the topology, from a source endpoint to a target endpoint. Copies share the
// editor metadata.
class Z_EXPORT ZTopologyEdge : public ZMessage {
    Z_FACTORY_CLASS(ZTopologyEdge)

public:
    ZTopologyEdge();
    ZTopologyEdge(const ZCommEndpoint& from, const ZCommEndpoint& to, const ZString& fromGroup = ZString(),
                  const ZString& toGroup = ZString());
    ZTopologyEdge(const ZTopologyEdge&) = default;
    ZTopologyEdge& operator=(const ZTopologyEdge&) = default;
    ZTopologyEdge(ZTopologyEdge&&) noexcept = default;
    ZTopologyEdge& operator=(ZTopologyEdge&&) noexcept = default;
    ~ZTopologyEdge() override;

    // from " --> " to, as endpoint texts.
    ZString AsString() const;

    // "from", "to", then "fromGroup"/"toGroup" when not empty, "toolsmetadata" when set.
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZCommEndpoint m_from;
    ZCommEndpoint m_to;
    ZString m_fromGroup;
    ZString m_toGroup;
    std::shared_ptr<ZEdgeToolsMetadata> m_pToolsMetadata;
};
