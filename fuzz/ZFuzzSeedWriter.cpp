// Writes the generated part of the seed corpora: the same documents encoded by each stream kind,
// the payloads the broker transport carries, plus inputs that are damaged on purpose. Run with the
// corpus folder as its argument and commit what it writes; the hand-written seeds live beside these.
#include <cstdio>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "NodeBase/ZAnchorPointToolsMetadata.h"
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
#include "NodeBase/ZEdgeToolsMetadata.h"
#include "NodeBase/ZNodeManagerConfig.h"
#include "NodeBase/ZNodeToolsMetadata.h"
#include "NodeBase/ZNodeUIDMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZOnlineStatusMsg.h"
#include "NodeBase/ZRemovalHistoryMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "NodeBase/ZTopologyMsg.h"
#include "NodeComm/ZNodeCommMQTT.h"
#include "NodeDiscovery/ZDiscoveryConfig.h"
#include "ZCoreConfigs/ZAuditLogParams.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZLogParams.h"
#include "ZCoreConfigs/ZMessageLogParams.h"
#include "ZCoreConfigs/ZReportParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZCoreConfigs/ZTraceLogParams.h"
#include "ZMessages/ZAntennaConfigMsg.h"
#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZMessages/ZRadarModeMsg.h"
#include "ZMessages/ZVersionInfoMsg.h"

namespace {

using ZDocumentWriter = std::function<void(const std::shared_ptr<ZCommStream>&)>;

std::shared_ptr<ZCommStream> ChildWith(const std::shared_ptr<ZCommStream>& parent, const char* key,
                                       std::int32_t value) {
    auto child = parent->CreateChild();
    child->Serialize(key, value, false);
    return child;
}

void GenericResponse(const std::shared_ptr<ZCommStream>& stream) {
    ZGenericResponseMsg("Could not find source node for connection", false,
                        ZFrameworkErrorCodes::ERRCODE_BUSY)
        .SerializeClass(stream);
}

void Envelope(const std::shared_ptr<ZCommStream>& stream) {
    ZGenericResponseMsg message("done", true);
    message.SetSource(ZCommEndpoint(ZNodeUID("NM1"), EP_RESPONSE, "addnode"));
    message.SetResponseRequested(true);
    message.SerializeMessage(stream);
}

void EveryType(const std::shared_ptr<ZCommStream>& stream) {
    stream->Serialize("n", std::numeric_limits<std::int32_t>::min(), false);
    stream->Serialize("a", std::numeric_limits<std::uint32_t>::max(), false);
    stream->Serialize("priority", std::numeric_limits<std::int64_t>::max(), false);
    stream->Serialize("b", 1.2f, false);
    stream->Serialize("ErrCode", -2.5e-300, false);
    stream->Serialize("bSuccess", true, false);
    stream->Serialize("text", "h\xc3\xa9llo \"quoted\"\n", false);
    stream->Serialize("s", ZString(), false);
    stream->Serialize("list", ZStringList{"first", "", "third"}, false);
    stream->Serialize("plugins", ZStringList(), false);
}

void NestedChildren(const std::shared_ptr<ZCommStream>& stream) {
    auto inner = ChildWith(stream, "n", 2);
    inner->SerializeChild("child", ChildWith(stream, "n", 3));
    auto outer = ChildWith(stream, "n", 1);
    outer->SerializeChild("child", inner);
    stream->Serialize("text", "outer", false);
    stream->SerializeChild("child", outer);
    stream->SerializeChild("body", stream->CreateChild());
}

void Arrays(const std::shared_ptr<ZCommStream>& stream) {
    const ZVector<std::shared_ptr<ZGenericResponseMsg>> responses{
        ZMakeShared<ZGenericResponseMsg>("one", true),
        ZMakeShared<ZGenericResponseMsg>("two", false, ZFrameworkErrorCodes::ERRCODE_SYSUPDATE_IN_SHUTDOWN)};
    stream->SerializeObjectArray("items", responses);
    auto unknown = stream->CreateChild();
    unknown->Serialize("class", "ZNoSuchMessage", false);
    stream->SerializeArrayElement("items", unknown);
    for (std::int32_t i = 0; i < 3; ++i) {
        auto element = ChildWith(stream, "n", i);
        element->SerializeArrayElement("arr", ChildWith(stream, "n", 10 * i));
        stream->SerializeArrayElement("arr", element);
        stream->SerializeArrayElement("edges", ChildWith(stream, "n", -i));
    }
}

void TopologyLike(const std::shared_ptr<ZCommStream>& stream) {
    stream->Serialize("plugins", ZStringList{"libNodeBase.so", "libNodeComm.so"}, false);
    for (std::int32_t i = 0; i < 20; ++i) {
        auto node = stream->CreateChild();
        node->Serialize("uid", ("Node" + std::to_string(i)).c_str(), false);
        node->Serialize("class", "ZGenericResponseMsg", false);
        node->Serialize("list", ZStringList{"alias" + ZString(std::to_string(i).c_str())}, false);
        stream->SerializeArrayElement("nodes", node);
    }
    for (std::int32_t i = 1; i < 10; ++i) {
        auto edge = stream->CreateChild();
        edge->Serialize("source", ("control/Node" + std::to_string(i - 1) + "/out").c_str(), false);
        edge->Serialize("uid", ("Node" + std::to_string(i)).c_str(), false);
        stream->SerializeArrayElement("edges", edge);
    }
}

void ManyKeys(const std::shared_ptr<ZCommStream>& stream) {
    for (std::int32_t i = 0; i < 40; ++i) {
        stream->Serialize(("k" + std::to_string(i)).c_str(), i, false);
    }
    stream->Serialize("text", "after many keys", false);
}

void Nested(const std::shared_ptr<ZCommStream>& stream, int levels) {
    std::shared_ptr<ZCommStream> level = ChildWith(stream, "n", levels);
    for (int i = 1; i < levels; ++i) {
        auto parent = stream->CreateChild();
        parent->SerializeChild("child", level);
        level = parent;
    }
    stream->SerializeChild("child", level);
}

// Topologies, as a node manager's discovery node holds them.

std::shared_ptr<ZNodeToolsMetadata> Box(double left, double top) {
    auto box = ZMakeShared<ZNodeToolsMetadata>();
    box->m_editorPositionLeft = left;
    box->m_editorPositionTop = top;
    box->m_editorSizeWidth = 120.5;
    box->m_editorSizeHeight = 64;
    return box;
}

std::shared_ptr<ZEdgeToolsMetadata> Route(std::int32_t left, std::int32_t top) {
    auto route = ZMakeShared<ZEdgeToolsMetadata>();
    route->m_sourcePos = ZEdgeAnchorPosition::ZRIGHT;
    route->m_sourcePosIdx = 1;
    route->m_targetPos = ZEdgeAnchorPosition::ZLEFT;
    for (const auto type : {ZEdgeAnchorType::ZFIXED, ZEdgeAnchorType::ZDYNAMIC}) {
        auto anchor = ZMakeShared<ZAnchorPointToolsMetadata>();
        anchor->m_pos = ZEdgeAnchorPosition::ZBOTTOM;
        anchor->m_posIdx = 2;
        anchor->m_type = type;
        anchor->m_left = left;
        anchor->m_top = top;
        route->m_anchorPoints.push_back(anchor);
        left += 40;
    }
    return route;
}

std::shared_ptr<ZCoreConfigParams> ManagerConfig() {
    auto set = ZMakeShared<ZCoreConfigParams>();
    auto comms = ZMakeShared<ZCommsParams>();
    comms->TransportURL = "tcp://localhost:1883";
    comms->debugFilter = {"ZTopologyMsg", "ZGenericResponseMsg"};
    set->SetConfig(comms);
    auto log = ZMakeShared<ZLogParams>();
    log->m_logPath = "${ZHOME}/logs/manager.log";
    log->m_level = LOGLEVEL_PROGRESS;
    set->SetConfig(log);
    set->SetConfig(ZMakeShared<ZSystemParams>());
    set->m_deviceType = DEVICE_PALM;
    set->m_deviceModel = ModelC;
    set->m_versionTxt = "2.151.0";
    return set;
}

ZTopologyNode Manager(const char* uid) {
    ZTopologyNode manager(ZNodeUID(uid), uid, {}, "ZNodeManager", "System", ZNodeUID(uid));
    manager.m_pConfig = ManagerConfig();
    return manager;
}

ZTopologyNode Hosted(const char* uid, const char* className, const char* manager, double left) {
    ZTopologyNode node(ZNodeUID(uid), uid, {ZString(uid) + "Alias"}, className, "Sensors", ZNodeUID(manager));
    node.m_pToolsMetadata = Box(left, 80);
    return node;
}

ZTopologyEdge Connect(const char* from, ZEndpointType fromType, const char* to, const char* name) {
    return ZTopologyEdge(ZCommEndpoint(ZNodeUID(from), fromType, "out"),
                         ZCommEndpoint(ZNodeUID(to), EP_CONTROL, name));
}

void TwoManagers(const std::shared_ptr<ZCommStream>& stream) {
    ZTopologyMsg graph;
    graph.m_plugins = {"libNodeBase.so", "libRadar.so", "libTracker.so"};
    graph.m_nodes = {Manager("NM1"), Manager("NM2")};
    auto radar = Hosted("Radar1", "ZRadar", "NM1", 0);
    radar.m_nodeLogLevel = LOGLEVEL_DETAIL;
    auto comms = ZMakeShared<ZCommsParams>();
    comms->nThreads = 2;
    radar.m_pConfig = comms;
    graph.m_nodes.push_back(radar);
    auto tracker = Hosted("Tracker1", "ZTracker", "NM1", 200);
    auto trace = ZMakeShared<ZTraceLogParams>();
    trace->m_traceMask = 0x30;
    tracker.m_pConfig = trace;
    graph.m_nodes.push_back(tracker);
    graph.m_nodes.push_back(Hosted("Display1", "ZDisplay", "NM2", 400));
    graph.m_nodes.emplace_back(ZNodeUID("Logger1"), "Logger1", ZStringList(), "ZLogger", "Sinks",
                               ZNodeUID("NM2"));

    graph.m_edges = {Connect("Radar1", EP_STATUS, "Tracker1", "plots"),
                     Connect("Tracker1", EP_TELEM, "Display1", "tracks"),
                     Connect("Tracker1", EP_TELEM, "Logger1", "tracks"),
                     Connect("NM1", EP_DIRECT, "NM2", "")};
    graph.m_edges[0].m_fromGroup = "Sensors";
    graph.m_edges[0].m_toGroup = "Sensors";
    graph.m_edges[0].m_pToolsMetadata = Route(150, 120);
    graph.m_edges[1].m_pToolsMetadata = Route(350, 40);
    graph.Serialize(stream);
}

void SingleManagerCycle(const std::shared_ptr<ZCommStream>& stream) {
    ZTopologyMsg graph;
    graph.m_plugins = {"libNodeBase.so"};
    graph.m_nodes = {Manager("NM1"), Hosted("A", "ZFilter", "NM1", 0), Hosted("B", "ZFilter", "NM1", 100),
                     Hosted("C", "ZFilter", "NM1", 200)};
    graph.m_edges = {Connect("A", EP_STATUS, "B", "in"), Connect("B", EP_STATUS, "C", "in"),
                     Connect("C", EP_STATUS, "A", "in"), Connect("A", EP_STATUS, "A", "loop"),
                     Connect("A", EP_STATUS, "B", "in")};
    graph.Serialize(stream);
}

// Nodes sharing a UID under different managers, a node without one, and edges to nowhere.
void DanglingEdges(const std::shared_ptr<ZCommStream>& stream) {
    ZTopologyMsg graph;
    graph.m_nodes = {Hosted("Radar1", "ZRadar", "NM1", 0), Hosted("Radar1", "ZRadar", "NM2", 50),
                     ZTopologyNode(ZNodeUID(), "", {}, "", "", ZNodeUID())};
    graph.m_edges = {Connect("Radar1", EP_STATUS, "Gone", "in"), Connect("Gone", EP_STATUS, "Radar1", "in"),
                     ZTopologyEdge(ZCommEndpoint(), ZCommEndpoint(ZNodeUID("Radar1"), EP_CONFIG))};
    graph.Serialize(stream);
}

// One manager hosting two nodes of the same UID, both touched by edges: the removal must take the
// edges once.
void DuplicateHostedUID(const std::shared_ptr<ZCommStream>& stream) {
    ZTopologyMsg graph;
    graph.m_nodes = {Manager("NM1"), Hosted("Radar1", "ZRadar", "NM1", 0),
                     Hosted("Radar2", "ZRadar", "NM1", 50), Hosted("Radar1", "ZRadar", "NM1", 100)};
    graph.m_edges = {Connect("Radar1", EP_STATUS, "Radar2", "in"), Connect("NM1", EP_DIRECT, "Radar1", "")};
    graph.Serialize(stream);
}

// A node whose configuration lives in a file that is not there, beside one with an inline one.
void ConfigFileNamed(const std::shared_ptr<ZCommStream>& stream) {
    ZTopologyMsg graph;
    graph.m_plugins = {"libNodeBase.so"};
    auto fromFile = Hosted("Radar1", "ZRadar", "NM1", 0);
    fromFile.m_configFileName = "no-such-dir/radar1-config.json";
    auto inlined = Hosted("Radar2", "ZRadar", "NM1", 100);
    inlined.m_pConfig = ZMakeShared<ZReportParams>();
    graph.m_nodes = {Manager("NM1"), fromFile, inlined};
    graph.m_edges = {Connect("Radar1", EP_STATUS, "Radar2", "sync")};
    graph.Serialize(stream);
}

void EmptyGraph(const std::shared_ptr<ZCommStream>& stream) {
    ZTopologyMsg().Serialize(stream);
}

// A configuration set inside a configuration set, as a node manager forwards it.
void NestedConfig(const std::shared_ptr<ZCommStream>& stream) {
    ZTopologyMsg graph;
    auto outer = ManagerConfig();
    outer->SetConfig(ManagerConfig());
    auto manager = Manager("NM1");
    manager.m_pConfig = outer;
    graph.m_nodes = {manager};
    graph.Serialize(stream);
}

// Keys of the wrong type, objects of the wrong class and enums out of range, in both enum forms:
// each stream kind reads one form and refuses the other.
void TopologyWrongTypes(const std::shared_ptr<ZCommStream>& stream) {
    stream->Serialize("plugins", std::int32_t{3}, false);
    auto node = stream->CreateChild();
    node->Serialize("uid", std::int32_t{7}, false);
    node->Serialize("aliases", "not a list", false);
    node->Serialize("logLevel", "LOUD", false);
    auto notMetadata = stream->CreateChild();
    notMetadata->Serialize("class", "ZTopologyMsg", false);
    node->SerializeChild("toolsmetadata", notMetadata);
    auto notConfig = stream->CreateChild();
    notConfig->Serialize("class", "ZGenericResponseMsg", false);
    node->SerializeChild("config", notConfig);
    stream->SerializeArrayElement("nodes", node);
    auto classless = stream->CreateChild();
    classless->SerializeChild("config", stream->CreateChild());
    classless->Serialize("nodeManagerUID", "NM1", false);
    stream->SerializeArrayElement("nodes", classless);

    auto edge = stream->CreateChild();
    edge->Serialize("from", std::int32_t{1}, false);
    edge->Serialize("to", "bogus", false);
    auto route = stream->CreateChild();
    route->Serialize("class", "ZEdgeToolsMetadata", false);
    route->Serialize("SourcePos", std::int32_t{99}, false);
    route->Serialize("TargetPos", "ZLEFT", false);
    auto anchor = stream->CreateChild();
    anchor->Serialize("class", "ZNoSuchAnchor", false);
    route->SerializeArrayElement("AnchorPoints", anchor);
    auto known = stream->CreateChild();
    known->Serialize("class", "ZAnchorPointToolsMetadata", false);
    known->Serialize("Type", "ZFIXED", false);
    known->Serialize("Pos", std::int32_t{-1}, false);
    route->SerializeArrayElement("AnchorPoints", known);
    edge->SerializeChild("toolsmetadata", route);
    stream->SerializeArrayElement("edges", edge);
    stream->SerializeArrayElement("edges", stream->CreateChild());
}

// Configuration sets, as node managers are given them.

void FullSet(const std::shared_ptr<ZCommStream>& stream) {
    ZCoreConfigParams set;
    auto log = ZMakeShared<ZLogParams>();
    log->m_logPath = "/var/log/z/node.log";
    log->m_level = LOGLEVEL_ERROR;
    log->m_bConsole = false;
    set.SetConfig(log);
    auto trace = ZMakeShared<ZTraceLogParams>();
    trace->m_traceMask = -1;
    set.SetConfig(trace);
    set.SetConfig(ZMakeShared<ZAuditLogParams>());
    auto messages = ZMakeShared<ZMessageLogParams>();
    messages->m_bEnabled = true;
    messages->m_classes = {"ZTopologyMsg"};
    set.SetConfig(messages);
    set.SetConfig(ZMakeShared<ZReportParams>());
    set.SetConfig(ZMakeShared<ZCommsParams>());
    auto system = ZMakeShared<ZSystemParams>();
    system->m_nodeManagerTimeoutSecs = 30;
    set.SetConfig(system);
    set.m_deviceType = DEVICE_PALM;
    set.m_deviceModel = ModelE;
    set.m_versionTxt = "2.151.0 (build 7)";
    set.m_shutdownWatchdogEn = false;
    set.Serialize(stream);
}

void NestedSet(const std::shared_ptr<ZCommStream>& stream) {
    ZCoreConfigParams set;
    auto inner = ManagerConfig();
    inner->SetConfig(ManagerConfig());
    set.SetConfig(inner);
    set.SetConfig(ZMakeShared<ZReportParams>());
    set.Serialize(stream);
}

std::shared_ptr<ZCommStream> Record(const std::shared_ptr<ZCommStream>& parent, const char* className) {
    auto record = parent->CreateChild();
    if (className != nullptr) {
        record->Serialize("class", className, false);
    }
    return record;
}

// Enums by number, which a text stream does not take, and a log level as a digit, which it does.
void EnumsByNumber(const std::shared_ptr<ZCommStream>& stream) {
    auto log = Record(stream, "ZLogParams");
    log->Serialize("LogLevel", "1", false);
    stream->SerializeArrayElement("ConfigParams", log);
    stream->Serialize("DeviceType", std::int32_t{DEVICE_PALM}, false);
    stream->Serialize("DeviceModel", std::int32_t{ModelD}, false);
    stream->Serialize("VersionTxt", "numbers", false);
}

// Names that are no enumerator, classes that are not records, a record twice.
void UnknownNames(const std::shared_ptr<ZCommStream>& stream) {
    for (const char* className :
         {"ZNoSuchParams", "ZGenericResponseMsg", "ZConfig", "ZLogParams", "ZLogParams"}) {
        stream->SerializeArrayElement("ConfigParams", Record(stream, className));
    }
    stream->SerializeArrayElement("ConfigParams", Record(stream, nullptr));
    stream->Serialize("DeviceType", "DEVICE_TRUCK", false);
    stream->Serialize("DeviceModel", "modela", false);
}

// Paths naming variables: set here, set nowhere, and a brace left open.
void EnvironmentPaths(const std::shared_ptr<ZCommStream>& stream) {
    ZCoreConfigParams set;
    const std::pair<std::shared_ptr<ZLogParams>, const char*> logs[] = {
        {ZMakeShared<ZLogParams>(), "${ZHOME}/logs/node.log"},
        {ZMakeShared<ZTraceLogParams>(), "$ZHOME/trace/$"},
        {ZMakeShared<ZAuditLogParams>(), "${ZNOT_SET_ANYWHERE_42}/audit"},
    };
    for (const auto& [log, path] : logs) {
        log->m_logPath = path;
        set.SetConfig(log);
    }
    auto messages = ZMakeShared<ZMessageLogParams>();
    messages->m_logPath = "${unclosed";
    set.SetConfig(messages);
    set.Serialize(stream);
}

void ConfigWrongTypes(const std::shared_ptr<ZCommStream>& stream) {
    auto notArray = Record(stream, "ZLogParams");
    stream->SerializeChild("ConfigParams", notArray);
    stream->Serialize("VersionTxt", std::int32_t{2}, false);
    stream->Serialize("ShutdownWatchdogEn", "yes", false);
    stream->Serialize("DeviceType", 1.5, false);
}

// Payloads as the broker transport carries them: every request of the discovery protocol as a node
// manager sends it, every answer and publication of the discovery node, the other registered
// messages, and the records and configurations, which are messages too.

using ZPayloads = std::vector<std::pair<const char*, std::shared_ptr<ZMessage>>>;

template <class T>
std::shared_ptr<T> Sent(const char* source, bool responseRequested = false) {
    auto message = ZMakeShared<T>();
    ZCommEndpoint endpoint;
    endpoint.Parse(source);
    message->SetSource(endpoint);
    message->SetResponseRequested(responseRequested);
    return message;
}

std::shared_ptr<ZGenericResponseMsg> Answer(const char* request, const char* text, bool success) {
    auto answer = Sent<ZGenericResponseMsg>(("response/ZNodeDiscovery1/" + std::string(request)).c_str());
    answer->m_text = text;
    answer->m_bSuccess = success;
    return answer;
}

std::shared_ptr<ZDiscoveryManagerMsg> Registration(const char* source, bool registered) {
    auto request = Sent<ZDiscoveryManagerMsg>(source, !registered);
    request->m_nodeManagerUID = ZNodeUID(registered ? "Bridge-NM" : "Radar-NM");
    request->m_group = "Deck";
    request->m_hostName = "radar-board";
    request->m_processID = 4242;
    request->m_versionInfo = {"2.151", "2.151.0", "575577671", "Linux 6.1.0 aarch64", "rev C", "build 7"};
    request->m_remoteTimeUs = 1759042102123456;
    request->m_sessionID = 1759042102;
    request->m_bRegistered = registered;
    return request;
}

std::shared_ptr<ZDiscoveryRequestMsg> NodeRegistration(const char* source, const char* uid) {
    auto request = Sent<ZDiscoveryRequestMsg>(source, true);
    request->m_name = "Radar2";
    request->m_aliases = {"Primary", "Radar"};
    request->m_className = "ZDemoRadar";
    request->m_group = "Deck";
    request->m_nodeManagerUID = ZNodeUID("Radar-NM");
    request->m_uid = ZNodeUID(uid);
    return request;
}

std::shared_ptr<ZTopologyMsg> Graph(const char* source) {
    auto graph = Sent<ZTopologyMsg>(source);
    graph->m_plugins = {"NodeDiscovery", "Radar"};
    graph->m_nodes = {Manager("Bridge-NM"), Manager("Radar-NM"), Hosted("Radar1", "ZRadar", "Radar-NM", 0),
                      Hosted("Display1", "ZDisplay", "Radar-NM", 200)};
    graph->m_nodes[2].m_nodeLogLevel = LOGLEVEL_WARNING;
    graph->m_nodes[2].m_pConfig = ZMakeShared<ZDiscoveryConfig>();
    graph->m_edges = {Connect("Radar1", EP_STATUS, "Display1", "show"),
                      Connect("Radar-NM", EP_DIRECT, "Radar1", "")};
    graph->m_edges[0].m_fromGroup = "Deck";
    graph->m_edges[0].m_pToolsMetadata = Route(150, 120);
    return graph;
}

std::shared_ptr<ZNodeManagerConfig> HostConfig() {
    auto config = Sent<ZNodeManagerConfig>("config/Radar-NM/load");
    config->m_uid = ZNodeUID("Radar-NM");
    config->m_group = "Deck";
    config->m_modules = {"build/default/NodeDiscovery/libNodeDiscovery.so"};
    config->m_transportURL = "mqtt://127.0.0.1:1883";
    ZNodeManagerConfig::ZHostedNode radar;
    radar.m_className = "ZNode";
    radar.m_name = "Radar";
    radar.m_uid = ZNodeUID("Radar1");
    radar.m_group = "Deck";
    radar.m_pConfig = ManagerConfig();
    config->m_nodes = {radar, {"ZNode", "Display", ZNodeUID(), "", nullptr}};
    ZNodeManagerConfig::ZConnection connection;
    connection.m_from = ZCommEndpoint(ZNodeUID("Radar1"), EP_STATUS, "scan");
    connection.m_to = ZCommEndpoint(ZNodeUID("ZNode1"), EP_CONTROL, "show");
    connection.m_toGroup = "Deck";
    config->m_connections = {connection};
    config->m_pConfig = ManagerConfig();
    return config;
}

ZPayloads Requests() {
    auto connect = Sent<ZDiscoveryConnectMsg>("control/Radar-NM/topoconnect", true);
    connect->m_edge = Connect("Radar1", EP_STATUS, "Display1", "show");
    connect->m_edge.m_fromGroup = "Deck";
    connect->m_edge.m_toGroup = "Ops";
    auto routed = Sent<ZDiscoveryConnectMsg>("control/Radar-NM/topoconnect", true);
    routed->m_edge = Connect("Radar1", EP_TELEM, "Display1", "tracks");
    routed->m_edge.m_pToolsMetadata = Route(10, 20);
    auto lock = Sent<ZDiscoveryLockUnlockMsg>("control/Radar-NM/locking", true);
    lock->m_bLock = true;
    auto unlock = Sent<ZDiscoveryLockUnlockMsg>("control/Radar-NM/locking");
    auto findNode = Sent<ZDiscoveryFindNodeMsg>("control/Radar-NM/findnode", true);
    findNode->m_nodeUID = "Radar-NM";
    auto findUID = Sent<ZDiscoveryFindUIDMsg>("control/Display1/finduid");
    findUID->m_className = "ZDemoRadar";
    findUID->m_groupName = "Deck";
    auto master = Sent<ZDiscoveryRequestMasterNodeManagerUIDMsg>("control/ops/getmasternodemanageruid");
    master->m_requester = "ops";
    auto plugin = Sent<ZDiscoveryPluginMsg>("control/Radar-NM/addplugin", true);
    plugin->m_pluginName = "NodeDiscovery";
    auto remove = Sent<ZDiscoveryDeleteMsg>("control/Radar-NM/topodisconnect");
    remove->m_nodes = {Hosted("Display1", "ZDisplay", "Radar-NM", 0)};
    remove->m_edges = {Connect("Radar1", EP_STATUS, "Display1", "show")};
    auto leave = Sent<ZRemoveNodeManagerMsg>("control/Radar-NM/removenodemanager");
    leave->m_nodeManagerUID = ZNodeUID("Radar-NM");
    auto will = Sent<ZRemoveNodeManagerMsg>("control/Radar-NM/removenodemanager");
    will->m_nodeManagerUID = ZNodeUID("Radar-NM");
    will->m_reason = "connection lost";
    auto repeated = NodeRegistration("control/Radar-NM/addnode", "");
    repeated->SetDeliveryInfo(2);
    return {
        {"addnodemanager", Registration("control/Radar-NM/addnodemanager", false)},
        {"addnode", NodeRegistration("control/Radar-NM/addnode", "")},
        {"addnode_repeated", repeated},
        {"addplugin", plugin},
        {"topoconnect", connect},
        {"topoconnect_routed", routed},
        {"notifytopochanged",
         Sent<ZDiscoveryTopoChangeNotificationMsg>("control/Radar-NM/notifytopochanged")},
        {"locking_lock", lock},
        {"locking_unlock", unlock},
        {"findnode", findNode},
        {"finduid", findUID},
        {"getmasternodemanageruid", master},
        {"gettopo", Sent<ZTopologyMsg>("control/ops/gettopo")},
        {"topodisconnect", remove},
        {"removenodemanager", leave},
        {"removenodemanager_will", will},
    };
}

ZPayloads AnswersAndPublications() {
    auto busy = Answer("topoconnect", "Could not find source node for connection", false);
    busy->m_errCode = ZFrameworkErrorCodes::ERRCODE_BUSY;
    auto connected = Answer("topoconnect", "Connection made.", true);
    connected->m_priority = 50;
    auto found = Sent<ZNodeUIDMsg>("response/ZNodeDiscovery1/finduid");
    found->m_className = "ZDemoRadar";
    found->m_groupName = "Deck";
    found->m_nodeUID = "ZDemoRadar1";
    auto master = Sent<ZDiscoveryMasterNodeManagerUIDMsg>("response/ZNodeDiscovery1/getmasternodemanageruid");
    master->m_masterNodeManagerUID = "Bridge-NM";
    auto changed = Sent<ZDiscoveryTopoChangeNotificationMsg>("status/ZNodeDiscovery1/topochanged");
    changed->SetNotification(true);
    auto gone = Sent<ZNodesDisconnectedMsg>("status/ZNodeDiscovery1/nodesdisconnected");
    gone->m_nodeUIDs = {"Display-NM", "Display1", "ZDemoDisplay1"};
    auto removals = Sent<ZRemovalHistoryMsg>("status/ZNodeDiscovery1/removals");
    removals->m_records = {{ZNodeUID("Display-NM"), 1795413749342946, "silence"},
                           {ZNodeUID("Antenna-NM"), 1795413750000000, "new session"},
                           {ZNodeUID("Ops-NM"), 1795413751000000, "request"}};
    auto online = Sent<ZOnlineStatusMsg>("status/Bridge-NM/online");
    online->m_bOnline = true;
    online->m_nodeManagerUID = ZNodeUID("Bridge-NM");
    online->m_startID = 965438726034955977;
    auto offline = Sent<ZOnlineStatusMsg>("status/Bridge-NM/online");
    offline->m_nodeManagerUID = ZNodeUID("Bridge-NM");
    offline->m_startID = 965438726034955977;
    return {
        {"answer_findnode", Answer("findnode", "Radar-NM", true)},
        {"answer_locking", Answer("locking", "Unlock", false)},
        {"answer_topoconnect", connected},
        {"answer_topoconnect_busy", busy},
        {"answer_finduid", found},
        {"answer_getmasternodemanageruid", master},
        {"answer_gettopo", Graph("response/ZNodeDiscovery1/gettopo")},
        {"answer_addnodemanager", Registration("response/ZNodeDiscovery1/addnodemanager", true)},
        {"answer_addnode", NodeRegistration("response/ZNodeDiscovery1/addnode", "ZDemoRadar1")},
        {"topochanged", changed},
        {"nodesdisconnected", gone},
        {"removals", removals},
        {"online", online},
        {"offline", offline},
    };
}

ZPayloads OtherMessages() {
    auto radarMode = Sent<ZRadarModeMsg>("control/Radar1/mode");
    radarMode->m_mode = 3;
    radarMode->m_bTransmit = true;
    auto version = Sent<ZVersionInfoMsg>("response/Radar-NM/version");
    version->m_text = "libNodeDiscovery";
    version->m_bSuccess = true;
    version->m_versionTag = "2.151";
    version->m_versionHash = "575577671";
    auto antenna = Sent<ZAntennaConfigMsg>("config/Antenna1/setup");
    antenna->m_antennaID = 2;
    antenna->m_gainDb = -3.25;
    antenna->m_bEnabled = true;
    auto node = std::make_shared<ZTopologyNode>(Hosted("Radar1", "ZRadar", "Radar-NM", 20));
    node->m_pConfig = ManagerConfig();
    auto edge = std::make_shared<ZTopologyEdge>(Connect("Radar1", EP_STATUS, "Display1", "show"));
    edge->m_pToolsMetadata = Route(0, 0);
    auto set = ZMakeShared<ZCoreConfigParams>();
    set->SetConfig(ZMakeShared<ZMessageLogParams>());
    set->SetConfig(ZMakeShared<ZReportParams>());
    set->SetConfig(ZMakeShared<ZAuditLogParams>());
    set->SetConfig(ZMakeShared<ZTraceLogParams>());
    return {
        {"radar_mode", radarMode},
        {"version_info", version},
        {"antenna_config", antenna},
        {"record_node", node},
        {"record_edge", edge},
        {"record_node_box", Box(10.5, -4)},
        {"record_edge_route", Route(5, 5)},
        {"record_anchor", Route(5, 5)->m_anchorPoints.front()},
        {"config_set", ManagerConfig()},
        {"config_records", set},
        {"config_node_manager", HostConfig()},
        {"config_discovery", ZMakeShared<ZDiscoveryConfig>()},
        {"config_comms", ZMakeShared<ZCommsParams>()},
    };
}

bool WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file) {
        std::fprintf(stderr, "Cannot write %s\n", path.c_str());
        return false;
    }
    return true;
}

std::string Encoded(const std::shared_ptr<ZCommStream>& stream, const ZDocumentWriter& write) {
    write(stream);
    std::string data;
    stream->GetData(data);
    return data;
}

std::string Binary(const ZDocumentWriter& write) {
    return Encoded(ZMakeShared<ZBinaryCommStream>(), write);
}

std::string JSON(const ZDocumentWriter& write) {
    return Encoded(ZMakeShared<ZJSONCommStream>(), write);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus folder>\n", argv[0]);
        return 2;
    }
    const std::string binary = std::string(argv[1]) + "/ZBinaryCommStreamFuzz/";
    const std::string json = std::string(argv[1]) + "/ZJSONCommStreamFuzz/";
    const std::vector<std::pair<const char*, ZDocumentWriter>> documents{
        {"generic_response", GenericResponse},
        {"envelope", Envelope},
        {"every_type", EveryType},
        {"nested_children", NestedChildren},
        {"arrays", Arrays},
        {"topology_like", TopologyLike},
        {"many_keys", ManyKeys},
    };
    bool ok = true;
    for (const auto& [name, write] : documents) {
        ok &= WriteFile(binary + name + ".bin", Binary(write));
        ok &= WriteFile(json + name + ".json", JSON(write));
    }
    const std::string header = Binary([](const std::shared_ptr<ZCommStream>&) {});
    const std::string everyType = Binary(EveryType);
    ok &= WriteFile(binary + "deepest.bin", Binary([](const std::shared_ptr<ZCommStream>& s) {
                        Nested(s, ZBinaryCommStream::kMaxNesting);
                    }));
    ok &= WriteFile(binary + "too_deep.bin", Binary([](const std::shared_ptr<ZCommStream>& s) {
                        Nested(s, ZBinaryCommStream::kMaxNesting + 1);
                    }));
    ok &= WriteFile(binary + "empty.bin", header);
    ok &= WriteFile(binary + "truncated.bin", everyType.substr(0, everyType.size() / 2));
    ok &= WriteFile(binary + "unknown_type.bin", header + std::string("\x63\x01\x00k\x00", 5));
    // The same key held twice, as different types: valid bytes that a writer never produces.
    ok &= WriteFile(binary + "duplicate_keys.bin", header + std::string("\x01\x01\x00"
                                                                        "a\x05\x00\x00\x00"
                                                                        "\x07\x01\x00"
                                                                        "a\x01\x00\x00\x00x"
                                                                        "\x0a\x03\x00"
                                                                        "arr\x00\x00\x00\x00"
                                                                        "\x01\x03\x00"
                                                                        "arr\x07\x00\x00\x00",
                                                                        37));

    const std::string topologyBinary = std::string(argv[1]) + "/ZTopologyBinaryFuzz/";
    const std::string topologyJSON = std::string(argv[1]) + "/ZTopologyJSONFuzz/";
    const std::vector<std::pair<const char*, ZDocumentWriter>> topologies{
        {"two_managers", TwoManagers},       {"single_manager_cycle", SingleManagerCycle},
        {"dangling_edges", DanglingEdges},   {"config_file_named", ConfigFileNamed},
        {"empty_graph", EmptyGraph},         {"nested_config", NestedConfig},
        {"wrong_types", TopologyWrongTypes}, {"duplicate_hosted_uid", DuplicateHostedUID},
    };
    for (const auto& [name, write] : topologies) {
        ok &= WriteFile(topologyBinary + name + ".bin", Binary(write));
        ok &= WriteFile(topologyJSON + name + ".json", JSON(write));
    }
    const std::string graphBytes = Binary(TwoManagers);
    ok &= WriteFile(topologyBinary + "truncated.bin", graphBytes.substr(0, graphBytes.size() / 2));
    const std::string graphText = JSON(TwoManagers);
    ok &= WriteFile(topologyJSON + "malformed_truncated.json", graphText.substr(0, graphText.size() / 2));

    const std::string configs = std::string(argv[1]) + "/ZCoreConfigJSONFuzz/";
    const std::vector<std::pair<const char*, ZDocumentWriter>> sets{
        {"full_set", FullSet},
        {"nested_set", NestedSet},
        {"enums_by_number", EnumsByNumber},
        {"unknown_names", UnknownNames},
        {"environment_paths", EnvironmentPaths},
        {"wrong_types", ConfigWrongTypes},
    };
    for (const auto& [name, write] : sets) {
        ok &= WriteFile(configs + name + ".json", JSON(write));
    }
    const std::string setText = JSON(FullSet);
    ok &= WriteFile(configs + "malformed_truncated.json", setText.substr(0, setText.size() / 2));

    const std::string mqtt = std::string(argv[1]) + "/ZNodeCommMQTTFuzz/";
    for (const auto& payloads : {Requests(), AnswersAndPublications(), OtherMessages()}) {
        for (const auto& [name, message] : payloads) {
            std::string payload;
            ok &= ZNodeCommMQTT::Encode(*message, payload) && WriteFile(mqtt + name + ".json", payload);
        }
    }
    // One payload for each reason a receiver drops one.
    std::string graph;
    ZNodeCommMQTT::Encode(*Graph("response/ZNodeDiscovery1/gettopo"), graph);
    const std::pair<const char*, std::string> dropped[] = {
        {"drop_truncated", graph.substr(0, graph.size() / 2)},
        {"drop_not_object", R"(["ZGenericResponseMsg"])"},
        {"drop_no_class", R"({"source":"control/ops/findnode","body":{"nodeUID":"Radar-NM"}})"},
        {"drop_class_not_text", R"({"class":7,"body":{}})"},
        {"drop_unknown_class", R"({"class":"ZNoSuchMsg","source":"control/ops/findnode"})"},
        {"drop_not_a_message", R"({"class":"ZNodeDiscovery","source":"control/ops/findnode"})"},
        {"drop_body_not_object", R"({"class":"ZDiscoveryFindNodeMsg","body":"Radar-NM"})"},
        {"drop_body_unreadable", R"({"class":"ZNodeManagerConfig","body":{"UID":"a/b"}})"},
        {"drop_wrong_types",
         R"({"class":"ZDiscoveryManagerMsg","priority":"high","body":{"processID":1.5,"sessionID":-1}})"},
    };
    for (const auto& [name, payload] : dropped) {
        ok &= WriteFile(mqtt + name + ".json", payload);
    }
    return ok ? 0 : 1;
}
