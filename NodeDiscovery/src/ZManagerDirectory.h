#pragma once

#include <cstdint>

#include "NodeComm/SystemVersionInfo.h"
#include "ZShared/ZAllocator.h"
#include "ZShared/ZNodeUID.h"
#include "ZShared/ZSteadyClock.h"

class ZDiscoveryManagerMsg;

// What the registrations of node managers said that the transport's registry does not keep (host,
// process, group, start, and the versions of the latest session: the registry keeps a node
// manager's first) and when each session registered, and since when the registration lock
// has its holder: what operators ask for with "getnodemanagers". Rows of node managers that have
// left stay until the manager registers again; the answer lists only those the registry holds.
class ZManagerDirectory {
public:
    struct ZEntry {
        ZString m_group;
        ZString m_hostName;
        std::int32_t m_processID = 0;
        SystemVersionInfo m_versionInfo;
        std::int64_t m_startID = 0;
        std::uint32_t m_sessionID = 0;
        ZSteadyTimePoint m_registeredAt{};
        std::int64_t m_registeredTimeUs = 0;  // wall clock
    };

    // A registration that was accepted. The same session of the same start keeps its registration
    // time (a node manager checking that it is still registered); any other starts afresh.
    void NoteRegistration(const ZDiscoveryManagerMsg& registration);
    // The lock went to a holder that did not hold it before.
    void NoteLockTaken();
    // The entry of the node manager, or null.
    const ZEntry* Find(const ZNodeUID& uid) const;
    ZSteadyTimePoint GetLockedAt() const { return m_lockedAt; }
    std::int64_t GetLockedTimeUs() const { return m_lockedTimeUs; }

    // Microseconds since the epoch by the wall clock.
    static std::int64_t WallClockUs();

private:
    ZMap<ZNodeUID, ZEntry> m_entries;
    ZSteadyTimePoint m_lockedAt{};
    std::int64_t m_lockedTimeUs = 0;
};
