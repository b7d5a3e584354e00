#include "NodeDiscovery/ZNodeDiscovery.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>

#include "NodeBase/ZDiscoveryConnectMsg.h"
#include "NodeBase/ZDiscoveryDeleteMsg.h"
#include "NodeBase/ZDiscoveryFindNodeMsg.h"
#include "NodeBase/ZDiscoveryFindUIDMsg.h"
#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZDiscoveryPluginMsg.h"
#include "NodeBase/ZDiscoveryRequestMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZDiscoveryTopoChangeNotificationMsg.h"
#include "NodeBase/ZNodeUIDMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZRemovalHistoryMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "NodeComm/ZCommManager.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZManagerDirectory.h"
#include "ZManagerInstances.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZPlatform.h"
#include "ZTopologyIndex.h"

using ZShared::make_shared_direct;
using ZShared::CID::IsKindOf;

namespace {
constexpr const char* kDiscoveryUID = "ZNodeDiscovery1";
constexpr std::int32_t kMonitorIntervalMs = 1000;
constexpr std::int32_t kDefaultDeadTimeSecs = 10;
constexpr const char* kRemovalRequested = "request";
constexpr const char* kRemovalSilence = "silence";
constexpr const char* kRemovalNewSession = "new session";

template <class T>
bool Is(const std::shared_ptr<ZMessage>& message) {
    return message && IsKindOf(T::m_cid, message->GetCID());
}

template <class T>
T& As(const std::shared_ptr<ZMessage>& message) {
    return static_cast<T&>(*message);
}

// Local calendar time of the whole seconds, then the microseconds: 2026-11-23T02:42:24.000042Z.
std::string ClockText(std::int64_t remoteTimeUs) {
    const std::time_t seconds = static_cast<std::time_t>(remoteTimeUs / 1000000);
    std::tm local{};
    localtime_r(&seconds, &local);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    char fraction[32];
    std::snprintf(fraction, sizeof fraction, ".%06ldZ", static_cast<long>(remoteTimeUs % 1000000));
    return std::string(date) + fraction;
}
}  // namespace

ZNodeDiscovery::ZNodeDiscovery(const std::string& name)
    : ZNode(name),
      m_pInstances(std::make_unique<ZManagerInstances>()),
      m_pIndex(std::make_unique<ZTopologyIndex>(m_pTopology)),
      m_pDirectory(std::make_unique<ZManagerDirectory>()) {
    SetUID(ZNodeUID(kDiscoveryUID));
}

ZNodeDiscovery::~ZNodeDiscovery() {
    StopAction(true);
}

bool ZNodeDiscovery::OnInit(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm,
                            ZNodeUID uid) {
    ZNode::OnInit(comm, localComm, uid);
    m_logSource = ClassName();
    m_logLevel = LOGLEVEL_PROGRESS;
    m_pTopology = make_shared_direct<ZTopologyMsg>("ZTopologyMsg", ZLOG_FILE, __LINE__);
    m_lastMonitorTime = ZPlatform::SteadyNow();
    return true;
}

bool ZNodeDiscovery::OnConnected() {
    ZLOG(LOGLEVEL_PROGRESS, "Processing ZNodeDiscovery::OnConnected()...");
    const ZNodeUID uid(kDiscoveryUID);
    SetUID(uid);
    const bool connected = ZNode::OnConnected();
    // The numbering of an earlier start, retained by the transport, is queued ahead of any request
    // that could need a number: those come only after an answer this node has yet to send.
    if (!SubscribeQueued(GetEndpoint(EP_STATUS, "numbering", 0),
                         std::bind(&ZNodeDiscovery::OnNumbering, this, std::placeholders::_1))) {
        ZLOG(LOGLEVEL_ERROR, "Cannot follow status/%s/numbering: numbers after a restart may repeat",
             kDiscoveryUID);
    }
    SubscribeManagersLookup();
    return connected;
}

bool ZNodeDiscovery::OnIdle() {
    const auto sinceLastRun = ZPlatform::SteadyNow() - m_lastMonitorTime;
    const auto elapsedMs = static_cast<std::int32_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(sinceLastRun).count() / 1000000);
    if (elapsedMs > kMonitorIntervalMs && !m_bMonitorRunning) {
        m_bMonitorRunning = true;
        OnMonitorTopoNodes();
        const ZSteadyTimePoint finished = ZPlatform::SteadyNow();
        m_bMonitorRunning = false;
        m_lastMonitorTime = finished;
    }
    if (m_bNumberingChanged) {
        PublishNumbering();
    }
    return ZNode::OnIdle();
}

bool ZNodeDiscovery::ShouldRegisterWithDiscovery() const {
    return false;
}

bool ZNodeDiscovery::InitMessageMap() {
    ZNode::InitMessageMap();
    using Handler = bool (ZNodeDiscovery::*)(const std::shared_ptr<ZMessage>&);
    static const struct {
        const char* m_name;
        Handler m_handler;
    } kMessageMap[] = {
        {"addnodemanager", &ZNodeDiscovery::OnAddNodeManager},
        {"removenodemanager", &ZNodeDiscovery::OnRemoveNodeManager},
        {"addnode", &ZNodeDiscovery::OnAddNode},
        {"addplugin", &ZNodeDiscovery::OnAddPlugin},
        {"gettopo", &ZNodeDiscovery::OnGetTopo},
        {"topoconnect", &ZNodeDiscovery::OnTopoConnect},
        {"finduid", &ZNodeDiscovery::OnFindUid},
        {"findnode", &ZNodeDiscovery::OnFindNode},
        {"topodisconnect", &ZNodeDiscovery::OnTopoDisconnect},
        {"notifytopochanged", &ZNodeDiscovery::OnNotifyTopoChanged},
        {"getmasternodemanageruid", &ZNodeDiscovery::OnGetMasterNodeManagerUID},
        {"locking", &ZNodeDiscovery::OnLockUnlockMsg},
    };
    for (const auto& row : kMessageMap) {
        const Callback callback = std::bind(row.m_handler, this, std::placeholders::_1);
        if (!Subscribe(GetEndpoint(EP_CONTROL, row.m_name, 0), callback)) {
            return false;
        }
    }
    return true;
}

ZCommManager* ZNodeDiscovery::Registry() const {
    const auto& comm = GetComm();
    return comm ? comm->GetCommManager().get() : nullptr;
}

bool ZNodeDiscovery::IsKnownToRegistry(const ZNodeUID& uid) const {
    ZCommManager* registry = Registry();
    if (registry == nullptr) {
        return false;
    }
    std::lock_guard<std::mutex> lock(registry->m_nodeToManagerMutex);
    return registry->m_nodeToManager.find(uid) != registry->m_nodeToManager.end();
}

std::shared_ptr<ZMessage> ZNodeDiscovery::Clone(const std::shared_ptr<ZMessage>& message) const {
    const auto& comm = GetComm();
    return comm ? comm->CloneMessage(message) : nullptr;
}

void ZNodeDiscovery::AnswerShuttingDown(const std::shared_ptr<ZMessage>& request) {
    auto response = make_shared_direct<ZGenericResponseMsg>("ZGenericResponseMsg", ZLOG_FILE, __LINE__);
    if (response) {
        response->m_bSuccess = false;
        response->m_errCode = ZFrameworkErrorCodes::ERRCODE_NONE;
        response->m_text = "Discover shutting down!";
    }
    PublishResponse(request, response, true, false);
}

bool ZNodeDiscovery::OnAddNodeManager(const std::shared_ptr<ZMessage>& request) {
    if (InShutdown()) {
        ZLOG(LOGLEVEL_WARNING, "Entered OnAddNodeManager() while InShutdown!!!");
        AnswerShuttingDown(request);
        return true;
    }
    if (!Is<ZDiscoveryManagerMsg>(request)) {
        return false;
    }
    auto& registration = As<ZDiscoveryManagerMsg>(request);
    registration.m_bRegistered = false;

    const auto config = GetConfigParams();
    const auto comms = config ? config->GetConfig<ZCommsParams>() : nullptr;
    if (comms && comms->bSyncTime) {
        if (!ZPlatform::SetHardwareClock(registration.m_remoteTimeUs / 1000000)) {
            ZLOG(LOGLEVEL_ERROR, "Failed to syncronize time to remote!");
        } else {
            ZLOG(LOGLEVEL_PROGRESS, "Syncronized clock to remote time (%s)",
                 ClockText(registration.m_remoteTimeUs).c_str());
        }
    }

    const bool saysStart = registration.m_startID != 0;
    if (saysStart) {
        registration.m_nodeManagerTimeoutSecs = GetDeadTimeSecs();
        if (RefuseSuperseded(request)) {
            return true;
        }
    }
    const ZNodeUID ownerBefore = m_lockOwner;
    ZCommManager* registry = Registry();
    bool replacedOldSession = false;
    if (Lock(request) && !registration.m_nodeManagerUID.IsEmpty() && registry != nullptr) {
        const ZNodeUID uid = registration.m_nodeManagerUID;
        const auto session = registration.m_sessionID;
        m_pInstances->Register(uid, registration.m_startID);
        bool registered = IsKnownToRegistry(uid);
        if (registered) {
            std::lock_guard<std::mutex> statsLock(registry->m_statsMutex);
            const auto record = registry->m_nodeManagerStats.find(uid);
            registered = false;
            if (record != registry->m_nodeManagerStats.end()) {
                std::lock_guard<std::mutex> recordLock(record->second->m_mutex);
                registered = record->second->m_bRegistered;
            }
        }

        if (registered) {
            if (session == registry->GetSessionID(uid)) {
                ZLOG(LOGLEVEL_PROGRESS,
                     "Node manager already has same session in graph: UID = <%s>, SessionID = <%i>",
                     uid.c_str(), static_cast<int>(session));
                m_lockOwner = ownerBefore;
                if (request->GetDeliveryInfo() == 0) {
                    return true;
                }
                registration.m_bAlreadyRegistered = true;
                registration.m_bRegistered = true;
            } else {
                ZLOG(LOGLEVEL_WARNING,
                     "Node manager has old session in graph, will remove old instance: UID = <%s> Old "
                     "SessionID = "
                     "<%i>, New SessionID = <%i>",
                     uid.c_str(), static_cast<int>(registry->GetSessionID(uid)), static_cast<int>(session));
                RemoveNodeManagerNodes(uid);
                NoteRemoval(uid, kRemovalNewSession);
                replacedOldSession = true;
                registration.m_bAlreadyRegistered = false;
                registry->SetSessionID(uid, session);
                registration.m_bRegistered = true;
            }
        } else {
            registration.m_bAlreadyRegistered = false;
            registration.m_bRegistered = true;
            // Marks the record under the statistics mutex alone; false when there is none yet.
            const auto markRegistered = [registry, &uid] {
                std::lock_guard<std::mutex> statsLock(registry->m_statsMutex);
                const auto record = registry->m_nodeManagerStats.find(uid);
                if (record == registry->m_nodeManagerStats.end()) {
                    return false;
                }
                record->second->m_bRegistered = true;
                return true;
            };
            if (!markRegistered()) {
                registry->NewNodeManager(uid, session, registration.m_versionInfo, false);
                markRegistered();
            }
        }

        ZTopologyNode managerRecord(uid, uid.AsString(), ZStringList(), "ZNodeManager", registration.m_group,
                                    uid);
        ZLOG(LOGLEVEL_PROGRESS, "Registering new node manager: UID = <%s>, SessionID = <%i>, Group = <%s>...",
             uid.c_str(), static_cast<int>(session), registration.m_group.c_str());
        if (m_pIndex->Find(uid) == nullptr) {
            m_pTopology->m_nodes.push_back(managerRecord);
            m_pIndex->Appended();
        }
        registry->NewNodeManager(uid, session, registration.m_versionInfo, false);
        registry->UpdateLastNodeManagerContact(uid);
        NoteManagerRegistered(registration);
        std::size_t count;
        {
            std::lock_guard<std::mutex> statsLock(registry->m_statsMutex);
            count = registry->m_nodeManagerStats.size();
        }
        ZLOG(LOGLEVEL_PROGRESS, "Added node manager <%s> to map - contains <%d> items...", uid.c_str(),
             static_cast<int>(count));
    }

    registration.m_nodeManagerUID = GetMasterNodeManagerUID();
    std::shared_ptr<ZMessage> response = request;
    PublishResponse(request, response, true, false);
    if (replacedOldSession) {
        PublishRemovalHistory();
    }
    return true;
}

void ZNodeDiscovery::RemoveNodeManagerNodes(ZNodeUID nodeManagerUID) {
    ZVector<ZNodeUID> removed;
    m_pTopology->RemoveNodes(nodeManagerUID, removed);
    m_pIndex->Invalidate();
    m_pTopology->RemoveEdges(nodeManagerUID);
    auto disconnected =
        make_shared_direct<ZNodesDisconnectedMsg>("ZNodesDisconnectedMsg", ZLOG_FILE, __LINE__);
    if (disconnected) {
        for (const auto& uid : removed) {
            disconnected->m_nodeUIDs.push_back(uid.AsString());
        }
    } else {
        ZLOG(LOGLEVEL_ERROR, "Cannot create ZNodesDisconnectedMsg: the removal of <%s> is not published",
             nodeManagerUID.c_str());
    }
    ZLOG(LOGLEVEL_PROGRESS, "Publishing EP_STATUS/nodesdisconnected to interested consumers...");
    UnregisterConnectionsTo(nodeManagerUID);
    Publish(GetEndpoint(EP_STATUS, "nodesdisconnected", 0), disconnected);
}

bool ZNodeDiscovery::OnRemoveNodeManager(const std::shared_ptr<ZMessage>& request) {
    if (!Is<ZRemoveNodeManagerMsg>(request)) {
        return false;
    }
    const ZNodeUID uid = As<ZRemoveNodeManagerMsg>(request).m_nodeManagerUID;
    const ZString reason = As<ZRemoveNodeManagerMsg>(request).m_reason;
    if (!IsKnownToRegistry(uid)) {
        return false;
    }
    const std::int64_t startID = As<ZRemoveNodeManagerMsg>(request).m_startID;
    if (m_pInstances->IsStale(uid, startID)) {
        ZLOG(LOGLEVEL_WARNING,
             "Removal of node manager <%s> ignored: it is for start <%lld>, the registered start is "
             "<%lld>%s%s",
             uid.c_str(), static_cast<long long>(startID), static_cast<long long>(m_pInstances->Current(uid)),
             reason.empty() ? "" : "; reason: ", reason.c_str());
        return true;
    }
    if (!reason.empty()) {
        ZLOG(LOGLEVEL_PROGRESS, "Node manager <%s> to be removed: %s", uid.c_str(), reason.c_str());
    }
    ZLOG(LOGLEVEL_WARNING, "Removing node manager: UID = <%s> ", uid.c_str());
    RemoveNodeManagerNodes(uid);
    Registry()->RemoveNodeManagerUID(uid);
    if (m_lockOwner == uid) {
        m_lockOwner = ZNodeUID();
    }
    NoteRemoval(uid, reason.empty() ? ZString(kRemovalRequested) : reason);
    PublishRemovalHistory();
    return true;
}

void ZNodeDiscovery::NoteRemoval(const ZNodeUID& nodeManagerUID, const ZString& reason) {
    if (m_removals.size() >= ZRemovalHistoryMsg::kMaxRecords) {
        m_removals.erase(m_removals.begin(),
                         m_removals.begin() + static_cast<std::ptrdiff_t>(
                                                  m_removals.size() - ZRemovalHistoryMsg::kMaxRecords + 1));
    }
    ZRemovalRecord& record = m_removals.emplace_back();
    record.m_nodeManagerUID = nodeManagerUID;
    record.m_timeUs = std::chrono::duration_cast<std::chrono::microseconds>(
                          std::chrono::system_clock::now().time_since_epoch())
                          .count();
    record.m_reason = reason;
}

void ZNodeDiscovery::PublishRemovalHistory() {
    auto history = make_shared_direct<ZRemovalHistoryMsg>("ZRemovalHistoryMsg", ZLOG_FILE, __LINE__);
    if (!history) {
        ZLOG(LOGLEVEL_ERROR, "Cannot create ZRemovalHistoryMsg: the removal history is not published");
        return;
    }
    history->m_records = m_removals;
    history->SetRetained(true);  // kept for operators who ask later
    Publish(GetEndpoint(EP_STATUS, "removals", 0), history);
}

std::int32_t ZNodeDiscovery::GetDeadTimeSecs() const {
    const auto config = GetConfigParams();
    if (!config) {
        return kDefaultDeadTimeSecs;
    }
    const auto system = config->GetConfig<ZSystemParams>();
    return system ? system->m_nodeManagerTimeoutSecs : kDefaultDeadTimeSecs;
}

bool ZNodeDiscovery::OnMonitorTopoNodes() {
    if (InShutdown()) {
        return false;
    }
    ZCommManager* registry = Registry();
    if (registry == nullptr) {
        return true;
    }
    const std::int32_t deadTime = GetDeadTimeSecs();
    ZMap<ZNodeUID, ZSteadyTimePoint> lastContacts;
    {
        std::lock_guard<std::mutex> statsLock(registry->m_statsMutex);
        for (const auto& [uid, stats] : registry->m_nodeManagerStats) {
            std::lock_guard<std::mutex> recordLock(stats->m_mutex);
            lastContacts.emplace(uid, stats->m_lastContact);
        }
    }
    for (const auto& [uid, lastContact] : lastContacts) {
        const auto silence = ZPlatform::SteadyNow() - lastContact;
        const std::int64_t silentSecs =
            std::chrono::duration_cast<std::chrono::nanoseconds>(silence).count() / 1000000000;
        if (silentSecs <= deadTime) {
            continue;
        }
        bool exempt = false;
        {
            std::lock_guard<std::mutex> statsLock(registry->m_statsMutex);
            const auto record = registry->m_nodeManagerStats.find(uid);
            if (record != registry->m_nodeManagerStats.end()) {
                std::lock_guard<std::mutex> recordLock(record->second->m_mutex);
                exempt = record->second->m_bExempt;
            }
        }
        if (exempt) {
            continue;
        }
        ZLOG(LOGLEVEL_WARNING,
             " - Node Manager <%s> now considered dead and will be removed from topo after <%lld> seconds of "
             "no "
             "contact!",
             uid.c_str(), static_cast<long long>(silentSecs));
        SetBusy(true, nullptr);
        RemoveNodeManagerNodes(uid);
        registry->RemoveNodeManagerUID(uid);
        if (m_lockOwner == uid) {
            m_lockOwner = ZNodeUID();
        }
        SetBusy(false, nullptr);
        ZLOG(LOGLEVEL_PROGRESS, "Notifying subscribers that topology has changed!");
        PublishTopoChangedNotification();
        NoteRemoval(uid, kRemovalSilence);
        PublishRemovalHistory();
        return true;
    }
    return true;
}

std::int32_t ZNodeDiscovery::GetNextID(const std::string& className) {
    auto& last = m_lastIDs[ToZString(className)];
    return ++last;
}

std::int32_t ZNodeDiscovery::RemoveLastID(const std::string& className) {
    const auto found = m_lastIDs.find(ToZString(className));
    if (found == m_lastIDs.end()) {
        return 0;
    }
    return found->second > 0 ? found->second - 1 : 0;
}

bool ZNodeDiscovery::OnAddNode(const std::shared_ptr<ZMessage>& request) {
    if (InShutdown()) {
        ZLOG(LOGLEVEL_WARNING, "Entered OnAddNode() while InShutdown!!!");
        AnswerShuttingDown(request);
        return true;
    }
    if (!Is<ZDiscoveryRequestMsg>(request)) {
        return false;
    }
    auto& node = As<ZDiscoveryRequestMsg>(request);
    if (node.m_nodeManagerUID.IsEmpty()) {
        ZLOG(LOGLEVEL_ERROR,
             "FAILURE Registering new node - Name = <%s>; Object Class = <%s>; Group = <%s>; Node Manager = "
             "<%s>...",
             node.m_name.c_str(), node.m_className.c_str(), node.m_group.c_str(),
             node.m_nodeManagerUID.c_str());
    } else {
        ZNodeUID uid = node.m_uid;
        if (uid.IsEmpty()) {
            uid = NumberNode(ToStdString(node.m_className));
        } else if (node.m_bNumbered) {
            NoteNumberedUID(node);
        }
        // The record is made where it is kept, once the node manager is known: made earlier and
        // discarded on refusal, it would differ in nothing but the cost of a copy.
        ZLOG(LOGLEVEL_PROGRESS,
             "Registering new node - Name = <%s>; Object Class = <%s>; Group = <%s>; Node Manager = <%s>...",
             node.m_name.c_str(), node.m_className.c_str(), node.m_group.c_str(),
             node.m_nodeManagerUID.c_str());
        if (!IsKnownToRegistry(node.m_nodeManagerUID)) {
            ZLOG(LOGLEVEL_ERROR,
                 "Node <%s> cannot be added because it belongs to manager <%s> which does not exist.",
                 node.m_name.c_str(), node.m_nodeManagerUID.c_str());
            return false;
        }
        ZCommManager* registry = Registry();
        registry->UpdateLastNodeManagerContact(node.m_nodeManagerUID);
        m_pTopology->m_nodes.emplace_back(uid, node.m_name, node.m_aliases, node.m_className, node.m_group,
                                          node.m_nodeManagerUID);
        m_pIndex->Appended();
        const auto session = registry->GetSessionID(node.m_nodeManagerUID);
        registry->RegisterNewNodeAndManager(node.m_nodeManagerUID, session, uid, false);
        node.m_uid = uid;
    }
    std::shared_ptr<ZMessage> response = Clone(request);
    PublishResponse(request, response, true, false);
    return true;
}

bool ZNodeDiscovery::OnAddPlugin(const std::shared_ptr<ZMessage>& request) {
    if (InShutdown()) {
        ZLOG(LOGLEVEL_WARNING, "Entered OnAddPlugin() while InShutdown!!!");
        AnswerShuttingDown(request);
        return true;
    }
    if (!Is<ZDiscoveryPluginMsg>(request)) {
        return false;
    }
    const ZString& name = As<ZDiscoveryPluginMsg>(request).m_pluginName;
    auto& plugins = m_pTopology->m_plugins;
    if (std::find(plugins.begin(), plugins.end(), name) == plugins.end()) {
        plugins.push_back(name);
    }
    auto response = make_shared_direct<ZGenericResponseMsg>("ZGenericResponseMsg", ZLOG_FILE, __LINE__);
    if (response) {
        response->m_bSuccess = true;
        response->m_errCode = ZFrameworkErrorCodes::ERRCODE_NONE;
    }
    PublishResponse(request, response, true, false);
    return true;
}

bool ZNodeDiscovery::OnTopoConnect(const std::shared_ptr<ZMessage>& request) {
    if (InShutdown()) {
        ZLOG(LOGLEVEL_WARNING, "Entered OnTopoConnect() while InShutdown!!!");
        AnswerShuttingDown(request);
        return true;
    }
    if (!Is<ZDiscoveryConnectMsg>(request)) {
        return false;
    }
    const ZTopologyEdge& edge = As<ZDiscoveryConnectMsg>(request).m_edge;
    auto response = make_shared_direct<ZGenericResponseMsg>("ZGenericResponseMsg", ZLOG_FILE, __LINE__);
    const auto answer = [&](const char* text, bool success) {
        if (response) {
            response->m_text = text;
            response->m_bSuccess = success;
            response->m_errCode = ZFrameworkErrorCodes::ERRCODE_NONE;
        }
    };
    const ZString from = edge.m_from.AsString();
    const ZString to = edge.m_to.AsString();
    if (m_pIndex->Find(edge.m_from.m_uid) == nullptr) {
        answer("Could not find source node for connection", false);
        ZLOG(LOGLEVEL_ERROR, "Could not find source node for connection %s to %s - Source UID = <%s>.",
             from.c_str(), to.c_str(), edge.m_from.m_uid.c_str());
        PublishResponse(request, response, true, false);
        return false;
    }
    if (m_pIndex->Find(edge.m_to.m_uid) == nullptr) {
        answer("Could not find target node for connection", false);
        ZLOG(LOGLEVEL_ERROR, "Could not find target node for connection %s to %s - Target UID = <%s>.",
             from.c_str(), to.c_str(), edge.m_to.m_uid.c_str());
        PublishResponse(request, response, true, false);
        return false;
    }
    m_pTopology->m_edges.push_back(edge);
    ZLOG(LOGLEVEL_PROGRESS, "Connected %s to %s", from.c_str(), to.c_str());
    answer("Connection made.", true);
    if (response) {
        response->m_priority = 50;
    }
    PublishResponse(request, response, true, false);
    return true;
}

bool ZNodeDiscovery::OnTopoDisconnect(const std::shared_ptr<ZMessage>& request) {
    if (!Is<ZDiscoveryDeleteMsg>(request)) {
        return false;
    }
    const auto& deletion = As<ZDiscoveryDeleteMsg>(request);
    auto response = make_shared_direct<ZGenericResponseMsg>("ZGenericResponseMsg", ZLOG_FILE, __LINE__);
    ZString text = "Deleted.";
    bool success = true;
    auto& edges = m_pTopology->m_edges;
    for (const auto& wanted : deletion.m_edges) {
        const auto found = std::find_if(edges.begin(), edges.end(), [&wanted](const ZTopologyEdge& edge) {
            return edge.m_from == wanted.m_from && edge.m_to == wanted.m_to;
        });
        if (found != edges.end()) {
            edges.erase(found);
            ZLOG(LOGLEVEL_PROGRESS, "Deleted edge '%s-->%s'", wanted.m_from.AsString().c_str(),
                 wanted.m_to.AsString().c_str());
        } else {
            ZLOG(LOGLEVEL_ERROR, "Failed to delete edge '%s-->%s'", wanted.m_from.AsString().c_str(),
                 wanted.m_to.AsString().c_str());
            text = "Some edges could not be deleted.";
            success = false;
        }
    }
    auto& nodes = m_pTopology->m_nodes;
    for (const auto& wanted : deletion.m_nodes) {
        const auto found = std::find_if(nodes.begin(), nodes.end(), [&wanted](const ZTopologyNode& node) {
            return node.m_uid == wanted.m_uid;
        });
        if (found != nodes.end()) {
            nodes.erase(found);
            m_pIndex->Invalidate();
            ZLOG(LOGLEVEL_PROGRESS, "Deleted node uid %s", wanted.m_uid.c_str());
            RemoveLastID(ToStdString(wanted.m_className));
        } else {
            ZLOG(LOGLEVEL_ERROR, "Failed to delete node <%s>", wanted.m_uid.c_str());
            text = "Some nodes could not be deleted.";
            success = false;
        }
    }
    if (response) {
        response->m_text = text;
        response->m_bSuccess = success;
        response->m_errCode = ZFrameworkErrorCodes::ERRCODE_NONE;
    }
    PublishResponse(request, response, true, false);
    return true;
}

bool ZNodeDiscovery::OnFindNode(const std::shared_ptr<ZMessage>& request) {
    ZLOG(LOGLEVEL_PROGRESS, "Entered OnFindNode...");
    if (!Is<ZDiscoveryFindNodeMsg>(request)) {
        ZLOG(LOGLEVEL_ERROR, "Error processing ZDiscoveryFindNode message!");
        return false;
    }
    const ZString& wanted = As<ZDiscoveryFindNodeMsg>(request).m_nodeUID;
    auto response = make_shared_direct<ZGenericResponseMsg>("ZGenericResponseMsg", ZLOG_FILE, __LINE__);
    bool found = false;
    ZLOG(LOGLEVEL_PROGRESS, "Searching for Node UID = <%s>, Node Manager UID = <%s>", wanted.c_str(),
         request->GetSource().m_uid.c_str());
    // The node manager's own record: its UID as node and as node manager.
    if (!wanted.empty()) {
        found = m_pIndex->HasManagerRecord(wanted);
    }
    if (response) {
        response->m_text = wanted;
        response->m_bSuccess = found;
        response->m_errCode = ZFrameworkErrorCodes::ERRCODE_NONE;
    }
    ZLOG(LOGLEVEL_PROGRESS, "Publishing response - specified node <%s> %s found in topology.", wanted.c_str(),
         found ? "was" : "was not");
    PublishResponse(request, response, true, false);
    return false;
}

bool ZNodeDiscovery::OnFindUid(const std::shared_ptr<ZMessage>& request) {
    ZLOG(LOGLEVEL_PROGRESS, "Entered OnFindUID...");
    if (!Is<ZDiscoveryFindUIDMsg>(request)) {
        ZLOG(LOGLEVEL_ERROR, "Error processing ZDiscoveryFindUID message!");
        return false;
    }
    const auto& find = As<ZDiscoveryFindUIDMsg>(request);
    auto response = make_shared_direct<ZNodeUIDMsg>("ZNodeUIDMsg", ZLOG_FILE, __LINE__);
    ZString className = find.m_className;
    ZString groupName;
    ZString nodeUID;
    const auto answer = [&]() {
        if (response) {
            response->m_className = className;
            response->m_groupName = groupName;
            response->m_nodeUID = nodeUID;
        }
    };
    ZLOG(LOGLEVEL_PROGRESS, "Searching for Node Class = <%s>", className.c_str());
    if (!className.empty()) {
        // The first of the class in the group asked for, else the first of the class.
        if (const ZTopologyNode* node = m_pIndex->FindByClass(className, find.m_groupName)) {
            nodeUID = node->m_uid.AsString();
            groupName = node->m_group;
            if (find.m_groupName.empty() || find.m_groupName == node->m_group) {
                ZLOG(LOGLEVEL_PROGRESS,
                     "Publishing exact match response - Node UID = <%s>; Group Name = <%s>", nodeUID.c_str(),
                     groupName.c_str());
                answer();
                PublishResponse(request, response, true, false);
                return true;
            }
        }
    }
    answer();
    if (!nodeUID.empty()) {
        ZLOG(LOGLEVEL_PROGRESS,
             "OnFindUID() - Publishing best match response - Node UID = <%s>; Group Name = <%s>; Target = "
             "<%s>",
             nodeUID.c_str(), groupName.c_str(), request->GetSource().AsString().c_str());
        PublishResponse(request, response, true, false);
        return true;
    }
    ZLOG(LOGLEVEL_PROGRESS,
         "Publishing response - no Node UID because node was not found - NodeClassName = <%s>!",
         className.c_str());
    PublishResponse(request, response, true, false);
    return false;
}

bool ZNodeDiscovery::OnGetTopo(const std::shared_ptr<ZMessage>& request) {
    if (!Is<ZTopologyMsg>(request)) {
        return false;
    }
    std::shared_ptr<ZMessage> copy = Clone(m_pTopology);
    PublishResponse<ZMessage>(request, copy, true, false);
    return true;
}

bool ZNodeDiscovery::OnGetMasterNodeManagerUID(const std::shared_ptr<ZMessage>& request) {
    ZLOG(LOGLEVEL_PROGRESS, "Entered OnGetMasterNodeManagerUID...");
    if (Is<ZDiscoveryRequestMasterNodeManagerUIDMsg>(request)) {
        ZLOG(LOGLEVEL_PROGRESS, "Node <%s> requested Master NodeManager UID...",
             As<ZDiscoveryRequestMasterNodeManagerUIDMsg>(request).m_requester.c_str());
    }
    auto response = make_shared_direct<ZDiscoveryMasterNodeManagerUIDMsg>("ZDiscoveryMasterNodeManagerUIDMsg",
                                                                          ZLOG_FILE, __LINE__);
    const ZString master = GetMasterNodeManagerUID().AsString();
    if (response) {
        response->m_masterNodeManagerUID = master;
    }
    ZLOG(LOGLEVEL_PROGRESS, "Publishing response - Master NodeManager UID = <%s> to Endpoint = <%s>.",
         master.c_str(), request ? request->GetSource().AsString().c_str() : "");
    PublishResponse(request, response, true, false);
    return true;
}

void ZNodeDiscovery::PublishTopoChangedNotification() {
    auto notification = make_shared_direct<ZDiscoveryTopoChangeNotificationMsg>(
        "ZDiscoveryTopoChangeNotificationMsg", ZLOG_FILE, __LINE__);
    if (!notification) {
        return;
    }
    ZLOG(LOGLEVEL_PROGRESS, "Publishing EP_STATUS/TopoChanged to interested consumers...");
    notification->SetNotification(true);
    Publish(GetEndpoint(EP_STATUS, "topochanged", 0), notification);
}

bool ZNodeDiscovery::OnNotifyTopoChanged(const std::shared_ptr<ZMessage>& request) {
    if (Is<ZDiscoveryTopoChangeNotificationMsg>(request)) {
        PublishTopoChangedNotification();
        return false;
    }
    ZLOG(LOGLEVEL_ERROR, "Error processing ZDiscoveryTopoChangeNotificationMsg message!");
    return false;
}

ZNodeUID ZNodeDiscovery::RequesterOf(const std::shared_ptr<ZMessage>& request,
                                     bool acceptRegistration) const {
    if (acceptRegistration && Is<ZDiscoveryManagerMsg>(request)) {
        return As<ZDiscoveryManagerMsg>(request).m_nodeManagerUID;
    }
    ZNodeUID manager;
    ZCommManager* registry = Registry();
    if (request && registry != nullptr) {
        registry->FindNodeManagerOf(request->GetSource().m_uid, manager);
    }
    return manager;
}

bool ZNodeDiscovery::Lock(std::shared_ptr<ZMessage> request) {
    const ZNodeUID requester = RequesterOf(request, true);
    if (!m_lockOwner.IsEmpty() && m_lockOwner != requester) {
        ZLOG(LOGLEVEL_PROGRESS, "Lock denied <%s>, <%s> still has the lock!", requester.c_str(),
             m_lockOwner.c_str());
        return false;
    }
    NoteLockTaken(requester);
    m_lockOwner = requester;
    ZLOG(LOGLEVEL_PROGRESS, "Locked by <%s>", m_lockOwner.c_str());
    return true;
}

bool ZNodeDiscovery::Unlock(std::shared_ptr<ZMessage> request) {
    const ZNodeUID requester = RequesterOf(request, false);
    if (m_lockOwner == requester) {
        ZLOG(LOGLEVEL_PROGRESS, "Unlocked by <%s>", m_lockOwner.c_str());
        m_lockOwner = ZNodeUID();
        return true;
    }
    ZLOG(LOGLEVEL_ERROR, "Unlock denied <%s>", requester.c_str());
    return false;
}

bool ZNodeDiscovery::OnLockUnlockMsg(const std::shared_ptr<ZMessage>& request) {
    if (!Is<ZDiscoveryLockUnlockMsg>(request)) {
        return true;
    }
    const bool lock = As<ZDiscoveryLockUnlockMsg>(request).m_bLock;
    auto response = make_shared_direct<ZGenericResponseMsg>("ZGenericResponseMsg", ZLOG_FILE, __LINE__);
    const bool success = lock ? Lock(request) : Unlock(request);
    if (response) {
        response->m_text = lock ? "Lock" : "Unlock";
        response->m_bSuccess = success;
        response->m_errCode = ZFrameworkErrorCodes::ERRCODE_NONE;
    }
    if (request->GetResponseRequested()) {
        PublishResponse(request, response, true, false);
    }
    return true;
}

bool ZNodeDiscovery::WildcardMatch(const char* pattern, const char* text) {
    for (; *pattern != '\0'; ++pattern, ++text) {
        if (*pattern == '?') {
            if (*text == '\0') {
                return false;
            }
        } else if (*pattern == '*') {
            // A '*' in the text is matched by a '*' of the pattern alone; otherwise the rest of the
            // pattern is tried at every position from here on.
            for (;;) {
                if (pattern[1] != '\0' && *text == '\0') {
                    return false;
                }
                if (*text == '*') {
                    break;
                }
                if (WildcardMatch(pattern + 1, text)) {
                    return true;
                }
                ++text;
            }
        } else if (*pattern != *text) {
            return false;
        }
    }
    return *text == '\0';
}
