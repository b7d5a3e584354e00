#include "ZDemo.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <thread>

#include "NodeBase/ZNodeManager.h"
#include "NodeBase/ZNodeManagerConfig.h"
#include "NodeBase/ZTopologyMsg.h"
#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZDemoAntenna.h"
#include "ZDemoDisplay.h"
#include "ZDemoLogSink.h"
#include "ZDemoObserver.h"
#include "ZDemoRadar.h"
#include "ZDemoTimeline.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZLog.h"
#include "ZShared/ZMakeShared.h"
#include "ZTopologyReport.h"
#include "ZTopologyRequest.h"

namespace {

using std::chrono::seconds;

constexpr seconds kStepTimeout{10};
// The removal needs the dead time, whole seconds beyond it, and a monitor run.
constexpr seconds kRemovalTimeout{ZDemo::kDeadTimeSecs + 10};
const ZNodeUID kDiscovery("ZNodeDiscovery1");

std::shared_ptr<ZCoreConfigParams> DeadTimeSet() {
    auto set = ZMakeShared<ZCoreConfigParams>();
    auto system = ZMakeShared<ZSystemParams>();
    system->m_nodeManagerTimeoutSecs = ZDemo::kDeadTimeSecs;
    set->SetConfig(system);
    return set;
}

ZNodeManagerConfig::ZHostedNode Node(const char* className, const char* name, const char* uid,
                                     const char* group) {
    ZNodeManagerConfig::ZHostedNode node;
    node.m_className = className;
    node.m_name = name;
    node.m_uid = ZNodeUID(uid);
    node.m_group = group;
    return node;
}

ZNodeManagerConfig::ZConnection Connection(const char* from, const char* to) {
    ZNodeManagerConfig::ZConnection connection;
    ZNodeManagerConfig::ParseEndpoint(from, connection.m_from);
    ZNodeManagerConfig::ParseEndpoint(to, connection.m_to);
    return connection;
}

std::shared_ptr<ZNodeManagerConfig> ManagerConfig(
    const char* uid, const char* group, std::vector<ZNodeManagerConfig::ZHostedNode> nodes,
    std::vector<ZNodeManagerConfig::ZConnection> connections = {}) {
    auto config = ZMakeShared<ZNodeManagerConfig>();
    config->m_uid = ZNodeUID(uid);
    config->m_group = group;
    config->m_nodes.assign(nodes.begin(), nodes.end());
    config->m_connections.assign(connections.begin(), connections.end());
    config->m_pConfig = DeadTimeSet();
    return config;
}

std::shared_ptr<ZNodeManagerConfig> DiscoveryManagerConfig(const std::string& modulePath) {
    auto discovery = Node("ZNodeDiscovery", "discovery", "", "Core");
    discovery.m_pConfig = DeadTimeSet();
    auto config = ManagerConfig("DiscoveryNM", "Core", {discovery});
    config->m_modules = {ToZString(modulePath)};
    return config;
}

std::shared_ptr<ZNodeManagerConfig> RadarConfig() {
    return ManagerConfig(
        "Radar-NM", "Bridge",
        {Node("ZDemoRadar", "Radar1", "Radar1", "Bridge"), Node("ZDemoRadar", "Radar2", "", "Mast"),
         Node("ZDemoRadar", "Radar3", "", "Bridge")});
}

std::shared_ptr<ZNodeManagerConfig> AntennaConfig() {
    return ManagerConfig(
        "Antenna-NM", "Mast",
        {Node("ZDemoAntenna", "Antenna1", "Antenna1", "Mast"), Node("ZDemoAntenna", "Antenna2", "", "Mast"),
         Node("ZDemoAntenna", "Antenna3", "", "Bridge")},
        {Connection("status/Antenna1/bearing", "control/Radar1/steer")});
}

std::shared_ptr<ZNodeManagerConfig> DisplayConfig() {
    return ManagerConfig(
        "Display-NM", "Bridge",
        {Node("ZDemoDisplay", "Display1", "Display1", "Bridge"),
         Node("ZDemoDisplay", "Display2", "", "Bridge"), Node("ZDemoDisplay", "Display3", "", "Mast"),
         Node("ZDemoRadar", "Repeater", "", "Bridge")},
        {Connection("status/Radar1/scan", "control/Display1/show")});
}

std::string Describe(const ZNodeManager& manager) {
    std::string nodes;
    for (const auto& node : manager.GetHostedNodes()) {
        nodes += (nodes.empty() ? "" : ", ") + node->GetName() + "=" + node->GetUID().c_str();
    }
    return "running, session " + std::to_string(manager.GetSessionID()) + "; nodes: " + nodes;
}

void Tell(const std::string& who, const std::string& what) {
    ZDemoTimeline::Get().Print(who, what);
}

}  // namespace

ZDemo::ZDemo(ZOptions options)
    : m_options(std::move(options)),
      m_pBus(std::make_shared<ZLocalBus>()),
      m_pComm(std::make_shared<ZNodeCommLocal>(m_pBus)) {}

ZDemo::~ZDemo() {
    StopAll();
}

int ZDemo::Run() {
    ZDemoTimeline::Get().Start();
    ZLog::GetLogger()->SetSink(std::make_shared<ZDemoLogSink>());
    ZClassRegistration<ZDemoRadar>::Register("ZNode");
    ZClassRegistration<ZDemoAntenna>::Register("ZNode");
    ZClassRegistration<ZDemoDisplay>::Register("ZNode");
    std::string failure;
    const bool played = Play(failure);
    ZDemoTimeline::Get().Phase("Shutdown");
    StopAll();
    ZLog::GetLogger()->SetSink(nullptr);
    if (!played) {
        std::fprintf(stderr, "zdemo: %s\n", failure.c_str());
        return 1;
    }
    Tell("demo", "every node manager stopped, all pumps joined");
    return 0;
}

bool ZDemo::Play(std::string& failure) {
    ZDemoTimeline::Get().Phase("Loading the discovery module");
    if (!m_loader.Load(m_options.m_modulePath)) {
        failure = m_loader.GetError();
        return false;
    }
    const auto& module = m_loader.GetModules().back();
    Tell("demo",
         "loaded " + module.m_path + ": version " + module.m_versionTag + " (" + module.m_versionHash + ")");
    if (ZShared::ZFactory::GetClassID("ZNodeDiscovery") == 0) {
        failure = m_options.m_modulePath + ": the module did not register ZNodeDiscovery";
        return false;
    }
    m_pObserver = std::make_unique<ZDemoObserver>(
        m_pComm, std::vector<std::string>{"DiscoveryNM", "Radar-NM", "Antenna-NM", "Display-NM"});

    ZDemoTimeline::Get().Phase("Registration (dead time " + std::to_string(kDeadTimeSecs) +
                               " s: each node manager sends a sign of life every third of it)");
    const auto discovery = Start(DiscoveryManagerConfig(m_options.m_modulePath));
    if (!WaitRunning({discovery}, failure)) {
        return false;
    }
    const auto radar = Start(RadarConfig());
    if (!WaitRunning({radar}, failure)) {
        return false;
    }
    Tell("demo", "Antenna-NM and Display-NM start at the same time: one of them finds the topology locked");
    auto antenna = Start(AntennaConfig());
    const auto display = Start(DisplayConfig());
    if (!WaitRunning({antenna, display}, failure)) {
        return false;
    }

    ZDemoTimeline::Get().Phase("Lookups through the discovery node");
    const auto display1 = std::dynamic_pointer_cast<ZDemoDisplay>(display->GetHostedNodes().front());
    auto lookup = ZMakeShared<ZGenericResponseMsg>("lookup", true);
    m_pComm->Publish(ZCommEndpoint(ZNodeUID("Display1"), EP_CONTROL, "lookup"), lookup);
    if (!display1 || !WaitUntil([&display1] { return display1->GetAnswerCount() == ZDemoDisplay::kLookups; },
                                kStepTimeout)) {
        failure = "Display1 did not get its lookups answered";
        return false;
    }

    ZDemoTimeline::Get().Phase("Antenna-NM restarts with a new session");
    const std::size_t disconnections = discovery->GetNodesDisconnectedCount();
    Tell("Antenna-NM", "process restarts: the old instance stops without leaving, a new one starts");
    antenna->Halt();
    antenna = Start(AntennaConfig());
    if (!WaitRunning({antenna}, failure)) {
        return false;
    }
    if (!WaitUntil([&] { return discovery->GetNodesDisconnectedCount() > disconnections; }, kStepTimeout)) {
        failure = "the old nodes of Antenna-NM did not leave";
        return false;
    }

    ZDemoTimeline::Get().Phase("Display-NM falls silent");
    Tell("Display-NM", "stops its pumps and its sign of life, without leaving the topology");
    display->Halt();
    const auto removed = [&discovery] {
        const auto uids = discovery->GetLastDisconnectedUIDs();
        return std::find(uids.begin(), uids.end(), "Display-NM") != uids.end();
    };
    if (!WaitUntil(removed, kRemovalTimeout)) {
        failure = "the liveness monitor did not remove Display-NM";
        return false;
    }

    ZDemoTimeline::Get().Phase("Final topology");
    return WriteTopology(failure);
}

std::shared_ptr<ZNodeManager> ZDemo::Start(std::shared_ptr<ZNodeManagerConfig> config) {
    auto manager = ZMakeShared<ZNodeManager>(config->m_uid.c_str());
    m_managers.push_back(manager);
    Tell(config->m_uid.c_str(), "starts with " + std::to_string(config->m_nodes.size()) + " nodes");
    if (!manager->Load(config) || !manager->Start(std::make_shared<ZNodeCommLocal>(m_pBus))) {
        Tell(config->m_uid.c_str(), "did not start");
    }
    return manager;
}

bool ZDemo::WaitUntil(const std::function<bool()>& condition, std::chrono::seconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

bool ZDemo::WaitRunning(const std::vector<std::shared_ptr<ZNodeManager>>& managers,
                        std::string& failure) const {
    for (const auto& manager : managers) {
        if (!WaitUntil([&manager] { return manager->GetState() == NMSTATE_RUNNING; }, kStepTimeout)) {
            failure = std::string(manager->GetUID().c_str()) + " did not register within " +
                      std::to_string(kStepTimeout.count()) + " s";
            return false;
        }
        Tell(manager->GetUID().c_str(), Describe(*manager));
    }
    return true;
}

bool ZDemo::WriteTopology(std::string& failure) {
    const auto topology = ZTopologyRequest::Fetch(m_pComm, kDiscovery, ZNodeUID("zdemo"), kStepTimeout);
    if (!topology) {
        failure = "the discovery node did not answer gettopo";
        return false;
    }
    const ZTopologyReport report(*topology);
    std::ostringstream tree;
    report.PrintTree(tree);
    std::fputs(tree.str().c_str(), stdout);

    std::error_code error;
    std::filesystem::create_directories(m_options.m_outDir, error);
    const std::string json = (std::filesystem::path(m_options.m_outDir) / "topology.json").string();
    const std::string dot = (std::filesystem::path(m_options.m_outDir) / "topology.dot").string();
    if (error || !ZTopologyRequest::WriteJSON(*topology, json) || !report.WriteDot(dot)) {
        failure = "cannot write the topology into " + m_options.m_outDir;
        return false;
    }
    const std::string folder =
        std::filesystem::absolute(m_options.m_outDir, error).lexically_normal().string();
    std::printf(
        "\nTopology written to %s: topology.json, topology.dot (dot -Tsvg topology.dot -o topology.svg)\n",
        folder.c_str());
    std::fflush(stdout);
    return true;
}

void ZDemo::StopAll() {
    // The discovery node's manager started first and stops last, so the others can still leave.
    for (auto manager = m_managers.rbegin(); manager != m_managers.rend(); ++manager) {
        (*manager)->Stop();
    }
    m_managers.clear();
    m_pObserver.reset();
    m_loader.UnloadAll();
}
