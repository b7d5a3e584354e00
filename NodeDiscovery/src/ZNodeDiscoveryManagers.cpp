// The discovery node's answer to operators asking which node managers it serves: "getnodemanagers",
// subscribed apart from the message map of the node managers' requests.
#include <algorithm>
#include <chrono>
#include <functional>

#include "NodeBase/ZDiscoveryGetNodeManagersMsg.h"
#include "NodeBase/ZDiscoveryNodeManagersMsg.h"
#include "NodeComm/ZCommManager.h"
#include "NodeDiscovery/ZNodeDiscovery.h"
#include "ZTopologyIndex.h"
#include "ZManagerDirectory.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZPlatform.h"

using ZShared::make_shared_direct;
using ZShared::CID::IsKindOf;

namespace {
std::int64_t MillisecondsSince(ZSteadyTimePoint then, ZSteadyTimePoint now) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(now - then).count();
}
}  // namespace

bool ZNodeDiscovery::SubscribeManagersLookup() {
    if (!SubscribeQueued(GetEndpoint(EP_CONTROL, "getnodemanagers", 0),
                         std::bind(&ZNodeDiscovery::OnGetNodeManagers, this, std::placeholders::_1))) {
        ZLOG(LOGLEVEL_ERROR, "Cannot serve control/%s/getnodemanagers: node managers cannot be listed",
             GetUID().c_str());
        return false;
    }
    return true;
}

void ZNodeDiscovery::NoteLockTaken(const ZNodeUID& requester) {
    if (m_lockOwner != requester) {
        m_pDirectory->NoteLockTaken();
    }
}

void ZNodeDiscovery::NoteManagerRegistered(const ZDiscoveryManagerMsg& registration) {
    m_pDirectory->NoteRegistration(registration);
}

bool ZNodeDiscovery::OnGetNodeManagers(const std::shared_ptr<ZMessage>& request) {
    if (!request || !IsKindOf(ZDiscoveryGetNodeManagersMsg::m_cid, request->GetCID())) {
        return false;
    }
    auto answer =
        make_shared_direct<ZDiscoveryNodeManagersMsg>("ZDiscoveryNodeManagersMsg", ZLOG_FILE, __LINE__);
    if (!answer) {
        ZLOG(LOGLEVEL_ERROR, "Cannot create ZDiscoveryNodeManagersMsg: getnodemanagers is not answered");
        return false;
    }
    const ZSteadyTimePoint now = ZPlatform::SteadyNow();
    const std::int64_t deadTimeMs = static_cast<std::int64_t>(GetDeadTimeSecs()) * 1000;
    answer->m_timeUs = ZManagerDirectory::WallClockUs();
    answer->m_deadTimeSecs = GetDeadTimeSecs();
    answer->m_lockHolderUID = m_lockOwner;
    if (!m_lockOwner.IsEmpty()) {
        answer->m_lockedSinceTimeUs = m_pDirectory->GetLockedTimeUs();
        answer->m_lockedForMs = MillisecondsSince(m_pDirectory->GetLockedAt(), now);
    }
    if (ZCommManager* registry = Registry()) {
        std::lock_guard<std::mutex> statsLock(registry->m_statsMutex);
        for (const auto& [uid, stats] : registry->m_nodeManagerStats) {
            ZNodeManagerRecord& record = answer->m_nodeManagers.emplace_back();
            record.m_nodeManagerUID = uid;
            {
                std::lock_guard<std::mutex> recordLock(stats->m_mutex);
                record.m_versionInfo = stats->m_versionInfo;
                record.m_sessionID = stats->m_sessionID;
                record.m_bExempt = stats->m_bExempt;
                if (stats->m_lastContact != ZSteadyTimePoint{}) {
                    record.m_silentMs = MillisecondsSince(stats->m_lastContact, now);
                    record.m_deadTimeLeftMs = std::max<std::int64_t>(0, deadTimeMs - record.m_silentMs);
                }
            }
            if (const ZManagerDirectory::ZEntry* entry = m_pDirectory->Find(uid)) {
                record.m_group = entry->m_group;
                record.m_hostName = entry->m_hostName;
                record.m_processID = entry->m_processID;
                record.m_versionInfo = entry->m_versionInfo;
                record.m_startID = entry->m_startID;
                record.m_registeredTimeUs = entry->m_registeredTimeUs;
                record.m_ageMs = MillisecondsSince(entry->m_registeredAt, now);
            } else if (const ZTopologyNode* node = m_pIndex->Find(uid)) {
                record.m_group = node->m_group;
            }
        }
    }
    ZLOG(LOGLEVEL_DETAIL, "Listing %zu node manager(s) for <%s>", answer->m_nodeManagers.size(),
         request->GetSource().AsString().c_str());
    PublishResponse(request, answer, true, false);
    return true;
}
