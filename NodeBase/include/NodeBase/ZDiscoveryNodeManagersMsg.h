#pragma once

#include <cstdint>
#include <memory>

#include "NodeComm/SystemVersionInfo.h"
#include "ZMessages/ZMessage.h"
#include "ZShared/ZNodeUID.h"

// One registered node manager as the discovery node sees it: what its registration said, and how
// long ago it registered and was last heard from. Durations are measured by the discovery node's
// steady clock, so they hold whatever the clocks of the machines say.
struct Z_EXPORT ZNodeManagerRecord {
    // {"nodeManagerUID", "group", "hostName", "processID", "versionInfo", "sessionID", "startID",
    //  "registeredTimeUs", "ageMs", "silentMs", "deadTimeLeftMs", "bExempt"}
    void Serialize(const std::shared_ptr<ZCommStream>& stream) const;
    void Deserialize(const std::shared_ptr<ZCommStream>& stream);

    ZNodeUID m_nodeManagerUID;
    ZString m_group;
    ZString m_hostName;
    std::int32_t m_processID = 0;
    SystemVersionInfo m_versionInfo;
    std::uint32_t m_sessionID = 0;
    std::int64_t m_startID = 0;           // 0 from a client that does not say
    std::int64_t m_registeredTimeUs = 0;  // the discovery node's wall clock at registration; 0 unknown
    std::int64_t m_ageMs = 0;             // since the registration of this session
    std::int64_t m_silentMs = -1;         // since the last contact; -1 never heard from
    std::int64_t m_deadTimeLeftMs = 0;    // until its silence reaches the dead time; 0 once it has
    bool m_bExempt = false;               // never removed for silence
};

// The discovery node's answer to "getnodemanagers": every registered node manager in UID order,
// the dead time it applies, and who holds the registration lock and since when.
class Z_EXPORT ZDiscoveryNodeManagersMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryNodeManagersMsg)

public:
    // "timeUs", "deadTimeSecs", "lockHolderUID", "lockedSinceTimeUs", "lockedForMs", and
    // "nodeManagers": an array of records (absent when there is none)
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    // The record of that node manager, or null.
    const ZNodeManagerRecord* Find(const ZNodeUID& uid) const;

    std::int64_t m_timeUs = 0;  // the discovery node's wall clock when it answered
    std::int32_t m_deadTimeSecs = 0;
    ZNodeUID m_lockHolderUID;  // empty while the lock is free
    std::int64_t m_lockedSinceTimeUs = 0;
    std::int64_t m_lockedForMs = 0;
    ZVector<ZNodeManagerRecord> m_nodeManagers;
};
