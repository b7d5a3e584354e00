#include "ZManagerDirectory.h"

#include <chrono>

#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "ZShared/ZPlatform.h"

void ZManagerDirectory::NoteRegistration(const ZDiscoveryManagerMsg& registration) {
    ZEntry& entry = m_entries[registration.m_nodeManagerUID];
    const bool sameSession = entry.m_registeredTimeUs != 0 && entry.m_sessionID == registration.m_sessionID &&
                             entry.m_startID == registration.m_startID;
    if (!sameSession) {
        entry.m_registeredAt = ZPlatform::SteadyNow();
        entry.m_registeredTimeUs = WallClockUs();
    }
    entry.m_group = registration.m_group;
    entry.m_hostName = registration.m_hostName;
    entry.m_processID = registration.m_processID;
    entry.m_versionInfo = registration.m_versionInfo;
    entry.m_startID = registration.m_startID;
    entry.m_sessionID = registration.m_sessionID;
}

void ZManagerDirectory::NoteLockTaken() {
    m_lockedAt = ZPlatform::SteadyNow();
    m_lockedTimeUs = WallClockUs();
}

const ZManagerDirectory::ZEntry* ZManagerDirectory::Find(const ZNodeUID& uid) const {
    const auto found = m_entries.find(uid);
    return found == m_entries.end() ? nullptr : &found->second;
}

std::int64_t ZManagerDirectory::WallClockUs() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}
