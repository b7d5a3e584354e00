#pragma once

#include <cstdint>
#include <memory>

#include "NodeComm/SystemVersionInfo.h"
#include "ZMessages/ZMessage.h"
#include "ZShared/ZNodeUID.h"

// A node manager announcing itself to the discovery node, with its registration state.
//
// Beyond the registration itself, a node manager of this framework says which start of its process
// it is (m_startID), so that the discovery node can tell a superseded instance from the live one; the
// answer says when that start was replaced (m_bSuperseded) and which dead time the discovery node
// applies, so that the sign of life can follow it. Each of these keys is written only when set.
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
    std::int64_t m_startID = 0;                 // "startID": 0 from a client that does not say
    bool m_bSuperseded = false;                 // "bSuperseded": another start registered since
    std::int32_t m_nodeManagerTimeoutSecs = 0;  // "NodeManagerTimeoutSecs": the dead time applied
};
