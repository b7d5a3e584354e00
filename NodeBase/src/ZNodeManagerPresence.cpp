// The node manager's presence over a broker: its last will, the discovery host's online status,
// its goodbye, and what it does when it finds itself taken out or replaced by a newer start.
#include <algorithm>
#include <condition_variable>
#include <random>

#include "NodeBase/ZNodeManager.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZOnlineStatusMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "ZNodeManagerShared.h"
#include "ZShared/ZMakeShared.h"

namespace {

using namespace ZNodeManagerShared;

constexpr const char* kConnectionLost = "connection lost";

// Whether the message is a "nodesdisconnected" that names the UID.
bool Lists(const std::shared_ptr<ZMessage>& message, const ZString& uid) {
    if (!Is<ZNodesDisconnectedMsg>(message)) {
        return false;
    }
    const auto& uids = static_cast<const ZNodesDisconnectedMsg&>(*message).m_nodeUIDs;
    return std::find(uids.begin(), uids.end(), uid) != uids.end();
}

// A positive 63-bit number that two starts, in one process or in two, practically never share.
std::int64_t NewStartID() {
    std::random_device device;
    std::uint64_t mix =
        (static_cast<std::uint64_t>(device()) << 32) ^ device() ^ static_cast<std::uint64_t>(WallClockUs());
    mix ^= mix >> 33;
    mix *= 0xC4CEB9FE1A85EC53ull;
    mix ^= mix >> 33;
    const auto id = static_cast<std::int64_t>(mix & 0x7FFFFFFFFFFFFFFFull);
    return id != 0 ? id : 1;
}

}  // namespace

void ZNodeManager::OnConnecting() {
    ZNode::OnConnecting();
    m_startID = NewStartID();
    const auto& comm = GetComm();
    if (!comm) {
        return;
    }
    ZCommEndpoint endpoint;
    std::shared_ptr<ZMessage> will;
    if (m_bHostsDiscovery) {
        endpoint = ZCommEndpoint(m_discoveryUID, EP_STATUS, kOnlineStatus);
        will = OnlineStatus(false);
    } else {
        auto removal = ZMakeShared<ZRemoveNodeManagerMsg>();
        removal->m_nodeManagerUID = GetUID();
        removal->m_reason = kConnectionLost;
        removal->m_startID = m_startID;
        endpoint = ZCommEndpoint(m_discoveryUID, EP_CONTROL, "removenodemanager");
        will = removal;
    }
    // Stamped as a publication of this manager would be, since the broker sends it unchanged.
    will->SetSource(ZCommEndpoint(GetUID(), endpoint.m_type, endpoint.m_name));
    will->SetEndpoint(endpoint);
    if (comm->SetLastWill(endpoint, will)) {
        ZLOG(LOGLEVEL_PROGRESS, "Node manager <%s> left its last will on <%s>", GetUID().c_str(),
             endpoint.AsString().c_str());
    } else {
        ZLOG(LOGLEVEL_DETAIL, "The transport of <%s> keeps no last will", GetUID().c_str());
    }
}

void ZNodeManager::LeaveTopology() {
    // Without this wait a discovery node hosted here would be stopped with the request still queued.
    struct ZConfirmation {
        std::mutex m_mutex;
        std::condition_variable m_cv;
        bool m_bDone = false;
    };
    const bool hostsDiscovery = std::any_of(m_hosted.begin(), m_hosted.end(), [this](const ZHosted& hosted) {
        return !hosted.m_bRegisters && hosted.m_pNode->GetUID() == m_discoveryUID &&
               hosted.m_pNode->IsPumpRunning();
    });
    const auto comm = GetComm();
    auto confirmation = std::make_shared<ZConfirmation>();
    ZNodeComm::SubscriptionId subscription = 0;
    if (hostsDiscovery && comm) {
        const ZString own = GetUID().AsString();
        const ZCommEndpoint endpoint(m_discoveryUID, EP_STATUS, "nodesdisconnected");
        subscription = comm->Subscribe(
            endpoint, [confirmation, own](const ZCommEndpoint&, const std::shared_ptr<ZMessage>& message) {
                if (!Lists(message, own)) {
                    return;
                }
                {
                    std::lock_guard<std::mutex> lock(confirmation->m_mutex);
                    confirmation->m_bDone = true;
                }
                confirmation->m_cv.notify_all();
            });
    }
    auto request = ZMakeShared<ZRemoveNodeManagerMsg>();
    request->m_nodeManagerUID = GetUID();
    request->m_startID = m_startID;
    ZLOG(LOGLEVEL_PROGRESS, "Node manager <%s> leaves the topology of discovery node <%s>", GetUID().c_str(),
         m_discoveryUID.c_str());
    SendRequest("removenodemanager", request);
    if (subscription == 0) {
        return;
    }
    {
        std::unique_lock<std::mutex> lock(confirmation->m_mutex);
        if (!confirmation->m_cv.wait_for(lock, kLeaveTimeout,
                                         [&confirmation] { return confirmation->m_bDone; })) {
            ZLOG(LOGLEVEL_WARNING, "Discovery node <%s> did not confirm the removal of <%s> within %g s",
                 m_discoveryUID.c_str(), GetUID().c_str(), Seconds(kLeaveTimeout));
        }
    }
    comm->Unsubscribe(subscription);
}

std::shared_ptr<ZMessage> ZNodeManager::OnlineStatus(bool online) const {
    auto status = ZMakeShared<ZOnlineStatusMsg>();
    status->m_bOnline = online;
    status->m_nodeManagerUID = GetUID();
    status->m_startID = m_startID;
    status->SetRetained(true);
    return status;
}

void ZNodeManager::PublishOnlineStatus(bool online) {
    ZLOG(LOGLEVEL_PROGRESS, "Discovery node <%s> hosted by <%s> is %s: start <%lld>", m_discoveryUID.c_str(),
         GetUID().c_str(), online ? "online" : "offline", static_cast<long long>(m_startID.load()));
    std::shared_ptr<ZMessage> message = OnlineStatus(online);
    if (PublishInternal(ZCommEndpoint(m_discoveryUID, EP_STATUS, kOnlineStatus), message, nullptr, true,
                        false) &&
        online) {
        m_bOnlinePublished = true;
    }
}

void ZNodeManager::RepeatOnlineStatus(ZSteadyTimePoint now) {
    if (!m_bHostsDiscovery || !m_bOnlinePublished) {
        return;
    }
    const bool first = m_nextOnlineRepeat == ZSteadyTimePoint{};
    if (!first && now < m_nextOnlineRepeat) {
        return;
    }
    m_nextOnlineRepeat = now + GetSignOfLifePeriod();
    if (!first) {
        std::shared_ptr<ZMessage> repeated = OnlineStatus(true);
        repeated->SetRetained(false);
        PublishInternal(ZCommEndpoint(m_discoveryUID, EP_STATUS, kOnlineStatus), repeated, nullptr, true,
                        false);
    }
}

void ZNodeManager::SetOnSuperseded(std::function<void()> onSuperseded) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_onSuperseded = std::move(onSuperseded);
}

void ZNodeManager::FollowDeadTime(std::int32_t discoverySecs) {
    if (discoverySecs == 0 || m_discoveryDeadTimeSecs.exchange(discoverySecs) == discoverySecs) {
        return;
    }
    const std::int32_t own = GetDeadTimeSecs();
    if (own != discoverySecs) {
        ZLOG(LOGLEVEL_WARNING,
             "Node manager <%s> is configured with a dead time of %d s, discovery node <%s> applies %d s: "
             "the sign of life follows the discovery node (every %g s)",
             GetUID().c_str(), static_cast<int>(own), m_discoveryUID.c_str(), static_cast<int>(discoverySecs),
             Seconds(GetSignOfLifePeriod()));
    }
}

void ZNodeManager::Supersede() {
    ZLOG(LOGLEVEL_ERROR,
         "Node manager <%s> (start <%lld>) was replaced by a newer start of the same node manager: this one "
         "stops competing",
         GetUID().c_str(), static_cast<long long>(m_startID.load()));
    SetState(NMSTATE_SUPERSEDED);
    std::function<void()> onSuperseded;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        onSuperseded = m_onSuperseded;
    }
    if (onSuperseded) {
        onSuperseded();
    }
}

bool ZNodeManager::OnNodesDisconnected(const std::shared_ptr<ZMessage>& notification) {
    if (!Is<ZNodesDisconnectedMsg>(notification)) {
        return false;
    }
    std::vector<std::string> uids;
    for (const auto& uid : static_cast<const ZNodesDisconnectedMsg&>(*notification).m_nodeUIDs) {
        uids.push_back(ToStdString(uid));
    }
    const bool listsThisManager =
        std::find(uids.begin(), uids.end(), std::string(GetUID().c_str())) != uids.end();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lastDisconnected = std::move(uids);
    }
    ++m_nodesDisconnectedCount;
    if (listsThisManager && GetState() == NMSTATE_RUNNING) {
        // Removed without asking (a will that outlived a lost connection, or a newer start of the
        // same UID replacing this one): find out which, with the session it has.
        ZLOG(LOGLEVEL_WARNING,
             "Discovery node <%s> took node manager <%s> out: asking whether it is still registered",
             m_discoveryUID.c_str(), GetUID().c_str());
        StartRegistration(true);
    }
    return true;
}

bool ZNodeManager::OnDiscoveryOnlineStatus(const std::shared_ptr<ZMessage>& status) {
    if (!Is<ZOnlineStatusMsg>(status)) {
        return false;
    }
    const auto& online = static_cast<const ZOnlineStatusMsg&>(*status);
    const auto startID = static_cast<long long>(online.m_startID);
    if (!online.m_bOnline) {
        // The sign of life finds out on its own whether the discovery node has gone for good.
        ZLOG(LOGLEVEL_PROGRESS, "Discovery node <%s> hosted by <%s> is offline: start <%lld>",
             m_discoveryUID.c_str(), online.m_nodeManagerUID.c_str(), startID);
        return true;
    }
    if (m_bDiscoveryStartSeen && online.m_startID == m_discoveryStartID) {
        return true;
    }
    const bool restarted = m_bDiscoveryStartSeen;
    m_bDiscoveryStartSeen = true;
    m_discoveryStartID = online.m_startID;
    // A discovery node hosted here cannot restart without this manager, which registers anyway.
    if (online.m_nodeManagerUID == GetUID() || GetState() == NMSTATE_STOPPED) {
        return true;
    }
    if (!restarted) {
        ZLOG(LOGLEVEL_DETAIL, "Discovery node <%s> hosted by <%s> is online: start <%lld>",
             m_discoveryUID.c_str(), online.m_nodeManagerUID.c_str(), startID);
        // Registered before any start was seen (a broker that kept the retained status from this
        // manager): whether the start it registered with is this one, only the discovery node knows.
        if (GetState() == NMSTATE_RUNNING) {
            StartRegistration(true);
        }
        return true;
    }
    ZLOG(LOGLEVEL_WARNING, "Discovery node <%s> restarted (start <%lld> on <%s>); <%s> registers again",
         m_discoveryUID.c_str(), startID, online.m_nodeManagerUID.c_str(), GetUID().c_str());
    StartRegistration();
    return true;
}
