#include "NodeBase/ZNodeManager.h"

#include <functional>
#include <string_view>

#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>

#include "NodeBase/ZDiscoveryConnectMsg.h"
#include "NodeBase/ZDiscoveryFindNodeMsg.h"
#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryPluginMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZDiscoveryTopoChangeNotificationMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZOnlineStatusMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "NodeComm/ZCommManager.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZNodeManagerShared.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZMakeShared.h"
#include "ZShared/ZPlatform.h"

namespace {

using ZShared::CID::IsKindOf;
using namespace ZNodeManagerShared;

constexpr std::chrono::milliseconds kFirstBackoff{500};
constexpr std::chrono::milliseconds kLongestBackoff{8000};
// A registration holds the lock for a few milliseconds, so a manager that found it taken asks
// again soon, after a wait spread by its UID: managers started together do not ask in step.
constexpr std::chrono::milliseconds kShortestLockedWait{50};
constexpr std::uint64_t kLockedWaitSpread = 101;
constexpr std::chrono::milliseconds kShortestSignOfLifePeriod{100};

ZString HostName() {
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0) {
        return ZString();
    }
    return ZString(name);
}

ZString OsVersion() {
    utsname system{};
    if (uname(&system) != 0) {
        return ZString();
    }
    ZString text(system.sysname);
    text += " ";
    text += system.release;
    return text;
}

}  // namespace

ZNodeManager::ZNodeManager(const std::string& name) : ZNode(name) {}

ZNodeManager::~ZNodeManager() {
    StopAction(true);
}

bool ZNodeManager::Load(std::shared_ptr<ZNodeManagerConfig> config) {
    if (!config) {
        ZLOG(LOGLEVEL_ERROR, "No configuration to load");
        return false;
    }
    if (GetComm() || IsStopped()) {
        ZLOG(LOGLEVEL_ERROR, "<%s> has started: configuration of <%s> refused", GetName().c_str(),
             config->m_uid.c_str());
        return false;
    }
    std::string why;
    if (!ZCommEndpoint::IsTopicSafeUID(config->m_uid.AsString(), &why)) {
        ZLOG(LOGLEVEL_ERROR, "Configuration refused: node manager UID <%s> %s", config->m_uid.c_str(),
             why.c_str());
        return false;
    }
    // The discovery module is loaded at run time, so its class is known by name only.
    const std::uint32_t discoveryCid = ZShared::ZFactory::GetClassID("ZNodeDiscovery");
    bool hostsDiscovery = false;
    std::vector<ZHosted> hosted;
    for (const auto& entry : config->m_nodes) {
        if (!entry.m_uid.IsEmpty() && !ZCommEndpoint::IsTopicSafeUID(entry.m_uid.AsString(), &why)) {
            ZLOG(LOGLEVEL_ERROR, "Node <%s> of <%s>: UID <%s> %s", entry.m_name.c_str(),
                 config->m_uid.c_str(), entry.m_uid.c_str(), why.c_str());
            return false;
        }
        const std::string className = ToStdString(entry.m_className);
        const auto made = ZShared::ZFactory::CreateShared(className.c_str(), ToStdString(entry.m_name));
        std::shared_ptr<ZNode> node;
        if (made && IsKindOf(ZNode::m_cid, made->GetCID())) {
            node = std::dynamic_pointer_cast<ZNode>(made);
        }
        if (!node) {
            ZLOG(LOGLEVEL_ERROR, "Node <%s> of <%s>: <%s> is not a node class the factory knows",
                 entry.m_name.c_str(), config->m_uid.c_str(), className.c_str());
            return false;
        }
        if (entry.m_pConfig) {
            node->SetConfigParams(entry.m_pConfig);
        }
        if (!entry.m_uid.IsEmpty()) {
            node->SetUID(entry.m_uid);
        }
        ZHosted record;
        record.m_pNode = node;
        record.m_className = ZString(node->ClassName());
        record.m_group = entry.m_group;
        record.m_bRegisters = node->ShouldRegisterWithDiscovery();
        record.m_bUIDFinal = !node->GetUID().IsEmpty();
        hostsDiscovery = hostsDiscovery || (discoveryCid != 0 && IsKindOf(discoveryCid, node->GetCID()));
        hosted.push_back(std::move(record));
    }
    m_hosted = std::move(hosted);
    m_bHostsDiscovery = hostsDiscovery;
    m_pConfig = std::move(config);
    m_discoveryUID = m_pConfig->m_discoveryUID;
    SetUID(m_pConfig->m_uid);
    if (GetName().empty()) {
        SetName(m_pConfig->m_uid.c_str());
    }
    if (m_pConfig->m_pConfig) {
        SetConfigParams(m_pConfig->m_pConfig);
    }
    return true;
}

bool ZNodeManager::Start(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm) {
    const ZNodeUID uid = GetUID();
    return ZNode::Start(std::move(comm), std::move(localComm), uid);
}

bool ZNodeManager::StartManual(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm) {
    const ZNodeUID uid = GetUID();
    return ZNode::Initialize(std::move(comm), std::move(localComm), uid);
}

void ZNodeManager::Stop() {
    m_bLeaveOnStop = true;
    StopAction(true);
}

void ZNodeManager::Halt() {
    m_bLeaveOnStop = false;
    StopAction(true);
}

bool ZNodeManager::OnInit(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm,
                          ZNodeUID uid) {
    if (!m_pConfig) {
        ZLOG(LOGLEVEL_ERROR, "No configuration loaded: <%s> does not start", GetName().c_str());
        return false;
    }
    return ZNode::OnInit(std::move(comm), std::move(localComm), std::move(uid));
}

bool ZNodeManager::SubscribeHandler(ZEndpointType type, const ZNodeUID& uid, const char* name,
                                    bool (ZNodeManager::*handler)(const std::shared_ptr<ZMessage>&)) {
    return Subscribe(ZCommEndpoint(uid, type, name), [this, handler](std::shared_ptr<ZMessage>& message) {
        return (this->*handler)(message);
    });
}

bool ZNodeManager::InitMessageMap() {
    const ZNodeUID own = GetUID();
    return ZNode::InitMessageMap() &&
           SubscribeHandler(EP_RESPONSE, own, "addnodemanager", &ZNodeManager::OnAddNodeManagerResponse) &&
           SubscribeHandler(EP_RESPONSE, own, "addnode", &ZNodeManager::OnAddNodeResponse) &&
           SubscribeHandler(EP_RESPONSE, own, "addplugin", &ZNodeManager::OnAddPluginResponse) &&
           SubscribeHandler(EP_RESPONSE, own, "topoconnect", &ZNodeManager::OnTopoConnectResponse) &&
           SubscribeHandler(EP_RESPONSE, own, "findnode", &ZNodeManager::OnFindNodeResponse) &&
           SubscribeHandler(EP_STATUS, m_discoveryUID, "topochanged", &ZNodeManager::OnTopoChanged) &&
           SubscribeHandler(EP_STATUS, m_discoveryUID, "nodesdisconnected",
                            &ZNodeManager::OnNodesDisconnected) &&
           SubscribeHandler(EP_STATUS, m_discoveryUID, kOnlineStatus, &ZNodeManager::OnDiscoveryOnlineStatus);
}

bool ZNodeManager::OnConnected() {
    if (!ZNode::OnConnected() || !StartHostedNodes()) {
        return false;
    }
    if (m_bHostsDiscovery) {
        PublishOnlineStatus(true);
    }
    StartRegistration();
    return true;
}

bool ZNodeManager::StartHostedNodes() {
    for (auto& hosted : m_hosted) {
        ZNode& node = *hosted.m_pNode;
        if (!hosted.m_bRegisters) {
            node.SetMasterNodeManagerUID(GetUID());
        }
        const ZNodeUID uid = node.GetUID().IsEmpty() ? ZNodeUID(node.GetInstanceName()) : node.GetUID();
        if (!node.Initialize(GetComm(), GetLocalComm(), uid)) {
            ZLOG(LOGLEVEL_ERROR, "Node <%s> of <%s> did not start", node.GetName().c_str(), GetUID().c_str());
            return false;
        }
    }
    return true;
}

void ZNodeManager::StartHostedPumps() {
    m_bHostedPumps = true;
    for (const auto& hosted : m_hosted) {
        ZNode& node = *hosted.m_pNode;
        const bool uidSettled = hosted.m_bUIDFinal || !hosted.m_bRegisters;
        if (uidSettled && !node.IsPumpRunning() && !node.StartPump()) {
            ZLOG(LOGLEVEL_ERROR, "The pump of <%s> did not start", node.GetName().c_str());
        }
    }
}

void ZNodeManager::StopHostedNodes() {
    for (auto hosted = m_hosted.rbegin(); hosted != m_hosted.rend(); ++hosted) {
        hosted->m_pNode->StopAction(true);
    }
}

bool ZNodeManager::OnShutdown(bool wait) {
    const ZNodeManagerState was = m_state.exchange(NMSTATE_STOPPED);
    if (m_bLeaveOnStop && (was == NMSTATE_REGISTERING_NODES || was == NMSTATE_RUNNING)) {
        LeaveTopology();
    }
    // After the leave, which the discovery node still has to handle; a halt leaves it to the will.
    if (m_bLeaveOnStop && m_bOnlinePublished.exchange(false)) {
        PublishOnlineStatus(false);
    }
    StopHostedNodes();
    if (was != NMSTATE_STOPPED) {
        ZLOG(LOGLEVEL_PROGRESS, "Node manager <%s> stopped%s", GetUID().c_str(),
             m_bLeaveOnStop ? "" : " without leaving the topology");
    }
    return ZNode::OnShutdown(wait);
}

bool ZNodeManager::ShouldRegisterWithDiscovery() const {
    return false;
}

bool ZNodeManager::SendRequest(const char* name, std::shared_ptr<ZMessage> request) {
    return PublishInternal(ZCommEndpoint(m_discoveryUID, EP_CONTROL, name), request, nullptr, true, false);
}

void ZNodeManager::SetState(ZNodeManagerState state) {
    const ZNodeManagerState was = m_state.exchange(state);
    if (was != state) {
        ZLOG(LOGLEVEL_DETAIL, "<%s>: %s -> %s", GetUID().c_str(), ZEnum::Name(was), ZEnum::Name(state));
    }
}

std::uint32_t ZNodeManager::NewSessionID(std::uint32_t previous) {
    static std::atomic<std::uint32_t> s_counter{0};
    std::uint64_t mix = static_cast<std::uint64_t>(WallClockUs()) ^
                        (static_cast<std::uint64_t>(getpid()) << 40) ^
                        (static_cast<std::uint64_t>(++s_counter) * 0x9E3779B97F4A7C15ull);
    mix ^= mix >> 33;
    mix *= 0xFF51AFD7ED558CCDull;
    mix ^= mix >> 33;
    auto session = static_cast<std::uint32_t>(mix);
    // 0 means "none yet" and the registry reports unknown managers with kUnknownSession.
    while (session == 0 || session == previous || session == ZCommManager::kUnknownSession) {
        ++session;
    }
    return session;
}

std::chrono::milliseconds ZNodeManager::LockedRetryWait(const ZNodeUID& uid, std::int32_t attempt) {
    const std::string_view text(uid.c_str());
    const std::size_t spread =
        std::hash<std::string_view>{}(text) + static_cast<std::size_t>(attempt) * 7919u;
    return kShortestLockedWait + std::chrono::milliseconds(spread % kLockedWaitSpread);
}

std::chrono::milliseconds ZNodeManager::Backoff(std::int32_t attempt) {
    std::chrono::milliseconds wait = kFirstBackoff;
    for (std::int32_t i = 1; i < attempt && wait < kLongestBackoff; ++i) {
        wait *= 2;
    }
    return std::min(wait, kLongestBackoff);
}

std::int32_t ZNodeManager::GetDeadTimeSecs() const {
    const auto config = GetConfigParams();
    const auto system = config ? config->GetConfig<ZSystemParams>() : nullptr;
    return system ? system->m_nodeManagerTimeoutSecs : ZNodeManagerConfig::kDefaultDeadTimeSecs;
}

std::chrono::milliseconds ZNodeManager::GetSignOfLifePeriod() const {
    const std::int32_t discovery = m_discoveryDeadTimeSecs.load();
    const std::int32_t deadTime = discovery != 0 ? discovery : GetDeadTimeSecs();
    const std::chrono::milliseconds period(static_cast<std::int64_t>(deadTime) * 1000 / 3);
    return std::max(period, kShortestSignOfLifePeriod);
}

void ZNodeManager::StartRegistration(bool keepSession) {
    if (!keepSession) {
        m_sessionID = NewSessionID(m_sessionID);
    }
    m_bVerifying = keepSession;
    // Any registration finds out what a reconnection may have cost.
    m_connectionsSeen = GetComm()->GetConnectionCount();
    m_attempt = 0;
    SetState(NMSTATE_REGISTERING);
    SendRegistration();
}

void ZNodeManager::SendRegistration() {
    ++m_attempt;
    auto request = ZMakeShared<ZDiscoveryManagerMsg>();
    request->m_nodeManagerUID = GetUID();
    request->m_group = m_pConfig->m_group;
    request->m_hostName = HostName();
    request->m_processID = static_cast<std::int32_t>(getpid());
    request->m_versionInfo.m_frameworkVersion = kFrameworkVersion;
    request->m_versionInfo.m_osVersion = OsVersion();
    if (const auto config = GetConfigParams()) {
        request->m_versionInfo.m_systemVersion = config->m_versionTxt;
    }
    request->m_remoteTimeUs = WallClockUs();
    request->m_sessionID = m_sessionID;
    request->m_startID = m_startID;
    request->SetResponseRequested(true);
    // A repeat says which attempt it is, so that a discovery node that registered an earlier
    // attempt of the same session still answers; so does every check of a session.
    request->SetDeliveryInfo(m_attempt > 1 || m_bVerifying ? m_attempt : 0);
    m_wait = WAIT_ANSWER;
    m_deadline = ZPlatform::SteadyNow() + Backoff(m_attempt);
    ZLOG(LOGLEVEL_PROGRESS,
         "Node manager <%s> asks discovery node <%s> to register it: session <%u>, attempt <%d>",
         GetUID().c_str(), m_discoveryUID.c_str(), static_cast<unsigned>(m_sessionID.load()), m_attempt);
    SendRequest("addnodemanager", request);
}

void ZNodeManager::RetryLater(const char* why, bool locked) {
    const auto wait = locked ? LockedRetryWait(GetUID(), m_attempt) : Backoff(m_attempt);
    ZLOG(LOGLEVEL_WARNING, "Discovery node %s refused registration attempt %d of <%s> (%s); retrying in %g s",
         m_discoveryUID.c_str(), m_attempt, GetUID().c_str(), why, Seconds(wait));
    m_wait = WAIT_RETRY;
    m_deadline = ZPlatform::SteadyNow() + wait;
}

bool ZNodeManager::OnIdle() {
    if (InShutdown()) {
        return ZNode::OnIdle();
    }
    if (!m_bHostedPumps && IsPumpRunning()) {
        StartHostedPumps();
    }
    const ZSteadyTimePoint now = ZPlatform::SteadyNow();
    RepeatOnlineStatus(now);
    switch (GetState()) {
        case NMSTATE_REGISTERING:
            if (now < m_deadline) {
                break;
            }
            if (m_wait == WAIT_RETRY) {
                SendRegistration();
            } else {
                const auto wait = Backoff(m_attempt);
                ZLOG(LOGLEVEL_WARNING, "No answer from discovery node %s after %d attempts; retrying in %g s",
                     m_discoveryUID.c_str(), m_attempt, Seconds(wait));
                m_wait = WAIT_RETRY;
                m_deadline = now + wait;
            }
            break;
        case NMSTATE_REGISTERING_NODES:
            if (now >= m_deadline) {
                ZLOG(LOGLEVEL_WARNING,
                     "Discovery node <%s> left <%zu> nodes of <%s> unanswered for %g s; registering again",
                     m_discoveryUID.c_str(), m_pendingNodes, GetUID().c_str(),
                     Seconds(GetSignOfLifePeriod()));
                StartRegistration();
            }
            break;
        case NMSTATE_RUNNING:
            if (const auto connections = GetComm()->GetConnectionCount(); connections != m_connectionsSeen) {
                // The first connection of a transport that connects in the background loses nothing.
                const bool reconnected = m_connectionsSeen != 0;
                m_connectionsSeen = connections;
                if (reconnected) {
                    ZLOG(LOGLEVEL_PROGRESS,
                         "Node manager <%s> reconnected: asking whether it is still registered",
                         GetUID().c_str());
                    StartRegistration(true);
                }
            } else if (now >= m_nextSignOfLife) {
                SendSignOfLife();
            }
            break;
        case NMSTATE_STOPPED:
        case NMSTATE_SUPERSEDED:
            break;
    }
    return ZNode::OnIdle();
}

bool ZNodeManager::OnAddNodeManagerResponse(const std::shared_ptr<ZMessage>& response) {
    if (GetState() != NMSTATE_REGISTERING) {
        ZLOG(LOGLEVEL_DETAIL, "Registration answer for <%s> ignored: registered already", GetUID().c_str());
        return true;
    }
    if (Is<ZGenericResponseMsg>(response)) {
        RetryLater(static_cast<const ZGenericResponseMsg&>(*response).m_text.c_str());
        return true;
    }
    if (!Is<ZDiscoveryManagerMsg>(response)) {
        return false;
    }
    const auto& answer = static_cast<const ZDiscoveryManagerMsg&>(*response);
    if (answer.m_sessionID != m_sessionID || (answer.m_startID != 0 && answer.m_startID != m_startID)) {
        ZLOG(LOGLEVEL_DETAIL, "Registration answer for the old session <%u> of <%s> ignored",
             static_cast<unsigned>(answer.m_sessionID), GetUID().c_str());
        return true;
    }
    if (answer.m_bSuperseded) {
        Supersede();
        return true;
    }
    FollowDeadTime(answer.m_nodeManagerTimeoutSecs);
    if (!answer.m_bRegistered) {
        RetryLater("locked by another node manager", true);
        return true;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_masterFromDiscovery = answer.m_nodeManagerUID;
    }
    if (m_bVerifying && answer.m_bAlreadyRegistered) {
        // Still registered: the discovery node kept the lock with whoever held it before.
        ZLOG(LOGLEVEL_PROGRESS,
             "Node manager <%s> is still registered with discovery node <%s>: session <%u>", GetUID().c_str(),
             m_discoveryUID.c_str(), static_cast<unsigned>(m_sessionID.load()));
        m_bVerifying = false;
        m_nextSignOfLife = ZPlatform::SteadyNow() + GetSignOfLifePeriod();
        SetState(NMSTATE_RUNNING);
        return true;
    }
    m_bVerifying = false;
    ZLOG(LOGLEVEL_PROGRESS,
         "Node manager <%s> registered with discovery node <%s>: session <%u>, master node manager <%s>",
         GetUID().c_str(), m_discoveryUID.c_str(), static_cast<unsigned>(m_sessionID.load()),
         answer.m_nodeManagerUID.c_str());
    SetState(NMSTATE_REGISTERING_NODES);
    RegisterNodes();
    return true;
}

void ZNodeManager::RegisterNodes() {
    m_pendingNodes = 0;
    m_deadline = ZPlatform::SteadyNow() + GetSignOfLifePeriod();
    for (auto& hosted : m_hosted) {
        hosted.m_bAnswered = false;
        if (!hosted.m_bRegisters) {
            continue;
        }
        const ZNode& node = *hosted.m_pNode;
        auto request = ZMakeShared<ZDiscoveryRequestMsg>();
        request->m_name = ToZString(node.GetName());
        request->m_className = hosted.m_className;
        request->m_group = hosted.m_group;
        request->m_nodeManagerUID = GetUID();
        if (hosted.m_bUIDFinal) {
            request->m_uid = node.GetUID();
            request->m_bNumbered = hosted.m_bNumbered;
        }
        request->SetResponseRequested(true);
        ++m_pendingNodes;
        SendRequest("addnode", request);
    }
    if (m_pendingNodes == 0) {
        FinishRegistration();
    }
}

bool ZNodeManager::OnAddNodeResponse(const std::shared_ptr<ZMessage>& response) {
    if (GetState() != NMSTATE_REGISTERING_NODES) {
        ZLOG(LOGLEVEL_DETAIL, "Node registration answer for <%s> ignored", GetUID().c_str());
        return true;
    }
    if (!Is<ZDiscoveryRequestMsg>(response)) {
        return false;
    }
    const auto& answer = static_cast<const ZDiscoveryRequestMsg&>(*response);
    const auto found = std::find_if(m_hosted.begin(), m_hosted.end(), [&answer](const ZHosted& hosted) {
        return hosted.m_bRegisters && !hosted.m_bAnswered && hosted.m_className == answer.m_className &&
               ToZString(hosted.m_pNode->GetName()) == answer.m_name;
    });
    if (answer.m_nodeManagerUID != GetUID() || found == m_hosted.end()) {
        ZLOG(LOGLEVEL_DETAIL, "Answer for node <%s> is not for <%s>", answer.m_name.c_str(),
             GetUID().c_str());
        return true;
    }
    ZHosted& hosted = *found;
    ZNode& node = *hosted.m_pNode;
    hosted.m_bAnswered = true;
    if (!hosted.m_bUIDFinal) {
        // The pump has not started yet, so nothing reads the UID while it changes.
        node.SetUID(answer.m_uid);
        hosted.m_bUIDFinal = true;
        hosted.m_bNumbered = true;
        if (m_bHostedPumps && !node.StartPump()) {
            ZLOG(LOGLEVEL_ERROR, "The pump of <%s> did not start", node.GetName().c_str());
        }
    } else if (answer.m_uid != node.GetUID()) {
        ZLOG(LOGLEVEL_WARNING, "Discovery node <%s> registered node <%s> as <%s>; it keeps <%s>",
             m_discoveryUID.c_str(), node.GetName().c_str(), answer.m_uid.c_str(), node.GetUID().c_str());
    }
    ZLOG(LOGLEVEL_PROGRESS, "Node <%s> of <%s> registered as <%s>", node.GetName().c_str(), GetUID().c_str(),
         node.GetUID().c_str());
    if (--m_pendingNodes == 0) {
        FinishRegistration();
    }
    return true;
}

void ZNodeManager::FinishRegistration() {
    for (const auto& module : m_pConfig->m_modules) {
        auto request = ZMakeShared<ZDiscoveryPluginMsg>();
        request->m_pluginName = ZNodeManagerConfig::PluginNameOf(module);
        request->SetResponseRequested(true);
        SendRequest("addplugin", request);
    }
    for (const auto& connection : m_pConfig->m_connections) {
        auto request = ZMakeShared<ZDiscoveryConnectMsg>();
        request->m_edge =
            ZTopologyEdge(connection.m_from, connection.m_to, connection.m_fromGroup, connection.m_toGroup);
        request->SetResponseRequested(true);
        SendRequest("topoconnect", request);
    }
    SendRequest("notifytopochanged", ZMakeShared<ZDiscoveryTopoChangeNotificationMsg>());
    auto unlock = ZMakeShared<ZDiscoveryLockUnlockMsg>();
    unlock->m_bLock = false;
    unlock->SetResponseRequested(false);
    SendRequest("locking", unlock);

    m_nextSignOfLife = ZPlatform::SteadyNow() + GetSignOfLifePeriod();
    ++m_registrations;
    SetState(NMSTATE_RUNNING);
    const auto registering = std::count_if(m_hosted.begin(), m_hosted.end(),
                                           [](const ZHosted& hosted) { return hosted.m_bRegisters; });
    ZLOG(LOGLEVEL_PROGRESS,
         "Node manager <%s> running: <%d> nodes, <%zu> plug-ins, <%zu> connections asked for",
         GetUID().c_str(), static_cast<int>(registering), m_pConfig->m_modules.size(),
         m_pConfig->m_connections.size());
}

bool ZNodeManager::OnAddPluginResponse(const std::shared_ptr<ZMessage>& response) {
    if (Is<ZGenericResponseMsg>(response) && !static_cast<const ZGenericResponseMsg&>(*response).m_bSuccess) {
        ZLOG(LOGLEVEL_WARNING, "Discovery node <%s> refused a plug-in of <%s>: %s", m_discoveryUID.c_str(),
             GetUID().c_str(), static_cast<const ZGenericResponseMsg&>(*response).m_text.c_str());
    }
    return true;
}

bool ZNodeManager::OnTopoConnectResponse(const std::shared_ptr<ZMessage>& response) {
    if (Is<ZGenericResponseMsg>(response) && !static_cast<const ZGenericResponseMsg&>(*response).m_bSuccess) {
        ZLOG(LOGLEVEL_WARNING, "Discovery node <%s> refused a connection of <%s>: %s", m_discoveryUID.c_str(),
             GetUID().c_str(), static_cast<const ZGenericResponseMsg&>(*response).m_text.c_str());
    }
    return true;
}

void ZNodeManager::SendSignOfLife() {
    m_nextSignOfLife = ZPlatform::SteadyNow() + GetSignOfLifePeriod();
    auto request = ZMakeShared<ZDiscoveryFindNodeMsg>();
    request->m_nodeUID = GetUID().AsString();
    request->SetResponseRequested(true);
    ZLOG(LOGLEVEL_DETAIL, "Sign of life of <%s>", GetUID().c_str());
    SendRequest("findnode", request);
}

bool ZNodeManager::OnFindNodeResponse(const std::shared_ptr<ZMessage>& response) {
    if (!Is<ZGenericResponseMsg>(response)) {
        return false;
    }
    const auto& answer = static_cast<const ZGenericResponseMsg&>(*response);
    if (answer.m_text != GetUID().AsString() || GetState() != NMSTATE_RUNNING || answer.m_bSuccess) {
        return true;
    }
    ZLOG(LOGLEVEL_WARNING, "Discovery node <%s> no longer knows node manager <%s>; registering again",
         m_discoveryUID.c_str(), GetUID().c_str());
    StartRegistration();
    return true;
}

bool ZNodeManager::OnTopoChanged(const std::shared_ptr<ZMessage>&) {
    ++m_topoChangedCount;
    return true;
}

ZNodeUID ZNodeManager::GetMasterNodeManagerUIDFromDiscovery() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_masterFromDiscovery;
}

std::vector<std::shared_ptr<ZNode>> ZNodeManager::GetHostedNodes() const {
    std::vector<std::shared_ptr<ZNode>> nodes;
    nodes.reserve(m_hosted.size());
    for (const auto& hosted : m_hosted) {
        nodes.push_back(hosted.m_pNode);
    }
    return nodes;
}

std::vector<std::string> ZNodeManager::GetLastDisconnectedUIDs() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lastDisconnected;
}
