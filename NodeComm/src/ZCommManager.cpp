#include "NodeComm/ZCommManager.h"

#include "ZShared/ZMakeShared.h"
#include "ZShared/ZPlatform.h"

ZCommManager::ZCommManager() = default;
ZCommManager::~ZCommManager() = default;

void ZCommManager::NewNodeManager(ZNodeUID nodeManagerUID, std::uint32_t sessionID,
                                  const SystemVersionInfo& versionInfo, bool exempt) {
    {
        std::lock_guard<std::mutex> lock(m_statsMutex);
        if (m_nodeManagerStats.find(nodeManagerUID) == m_nodeManagerStats.end()) {
            auto stats = ZMakeShared<CommStats>();
            stats->m_bExempt = exempt;
            stats->m_sessionID = sessionID;
            stats->m_versionInfo = versionInfo;
            m_nodeManagerStats.emplace(nodeManagerUID, std::move(stats));
            m_bChanged = true;
        }
    }
    std::lock_guard<std::mutex> lock(m_nodeToManagerMutex);
    ZASSERT(!nodeManagerUID.IsEmpty());
    m_nodeToManager[nodeManagerUID] = nodeManagerUID;
}

void ZCommManager::RegisterNewNodeAndManager(ZNodeUID nodeManagerUID, std::uint32_t sessionID,
                                             ZNodeUID nodeUID, bool exempt) {
    {
        std::lock_guard<std::mutex> lock(m_nodeToManagerMutex);
        m_nodeToManager[nodeUID] = nodeManagerUID;
        ZASSERT(!nodeManagerUID.IsEmpty());
        m_bChanged = true;
    }
    static const SystemVersionInfo kUnknownVersion;
    NewNodeManager(std::move(nodeManagerUID), sessionID, kUnknownVersion, exempt);
}

void ZCommManager::RemoveNodeManagerUID(ZNodeUID nodeManagerUID) {
    {
        std::lock_guard<std::mutex> lock(m_statsMutex);
        m_nodeManagerStats.erase(nodeManagerUID);
    }
    {
        std::lock_guard<std::mutex> lock(m_nodeToManagerMutex);
        m_nodeToManager.erase(nodeManagerUID);
    }
    std::lock_guard<std::mutex> lock(m_nodeToManagerMutex);
    for (auto entry = m_nodeToManager.begin(); entry != m_nodeToManager.end();) {
        entry = entry->second == nodeManagerUID ? m_nodeToManager.erase(entry) : std::next(entry);
    }
}

std::uint32_t ZCommManager::GetSessionID(ZNodeUID nodeManagerUID) {
    std::lock_guard<std::mutex> lock(m_statsMutex);
    const auto found = m_nodeManagerStats.find(nodeManagerUID);
    if (found == m_nodeManagerStats.end()) {
        return kUnknownSession;
    }
    std::lock_guard<std::mutex> recordLock(found->second->m_mutex);
    return found->second->m_sessionID;
}

void ZCommManager::SetSessionID(ZNodeUID nodeManagerUID, std::uint32_t sessionID) {
    std::lock_guard<std::mutex> lock(m_statsMutex);
    const auto found = m_nodeManagerStats.find(nodeManagerUID);
    if (found == m_nodeManagerStats.end()) {
        ZASSERT(found != m_nodeManagerStats.end());
        return;
    }
    std::lock_guard<std::mutex> recordLock(found->second->m_mutex);
    found->second->m_sessionID = sessionID;
}

void ZCommManager::UpdateLastNodeManagerContact(ZNodeUID nodeManagerUID) {
    std::lock_guard<std::mutex> lock(m_statsMutex);
    const auto found = m_nodeManagerStats.find(nodeManagerUID);
    if (found != m_nodeManagerStats.end()) {
        std::lock_guard<std::mutex> recordLock(found->second->m_mutex);
        found->second->m_lastContact = ZPlatform::SteadyNow();
    }
}

void ZCommManager::NoteContactFrom(const ZNodeUID& senderUID) {
    ZNodeUID manager;
    if (FindNodeManagerOf(senderUID, manager)) {
        UpdateLastNodeManagerContact(manager);
    }
}

bool ZCommManager::FindNodeManagerOf(const ZNodeUID& nodeUID, ZNodeUID& nodeManagerUID) {
    std::lock_guard<std::mutex> lock(m_nodeToManagerMutex);
    const auto found = m_nodeToManager.find(nodeUID);
    if (found == m_nodeToManager.end()) {
        return false;
    }
    nodeManagerUID = found->second;
    return true;
}

std::size_t ZCommManager::NodeManagerCount() {
    std::lock_guard<std::mutex> lock(m_statsMutex);
    return m_nodeManagerStats.size();
}
