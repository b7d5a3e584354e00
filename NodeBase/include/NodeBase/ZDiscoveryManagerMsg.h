#pragma once

#include <cstdint>
#include <memory>

#include "NodeComm/SystemVersionInfo.h"
#include "ZMessages/ZMessage.h"
#include "ZShared/ZNodeUID.h"

// A node manager announcing itself to the discovery node, with its registration state.
class Z_EXPORT ZDiscoveryManagerMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryManagerMsg)

public:
    // The members in declaration order; "versionInfo" is a child object of the six version texts.
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZNodeUID m_nodeManagerUID;
    ZString m_group;
    ZString m_hostName;
    std::int32_t m_processID = 0;
    SystemVersionInfo m_versionInfo;
    std::int64_t m_remoteTimeUs = 0;
    std::uint32_t m_sessionID = 0;
    bool m_bAlreadyRegistered = false;
    bool m_bRegistered = false;
};
