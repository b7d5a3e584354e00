#include "ZIntegrationFixture.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

#include "NodeBase/ZTopologyMsg.h"
#include "ZChildProcess.h"

namespace {

// The topics the discovery node and its host publish retained. The cluster outlives a test: what
// one test's discovery host left there must not reach the next one.
const char* const kRetainedTopics[] = {"status/ZNodeDiscovery1/online", "status/ZNodeDiscovery1/removals",
                                       "status/ZNodeDiscovery1/numbering"};

std::unique_ptr<ZTestEjabberd>& SharedCluster() {
    static std::unique_ptr<ZTestEjabberd> cluster;
    return cluster;
}

bool Contains(const std::vector<std::string>& list, const std::string& item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

}  // namespace

ZIntegrationFixture::ZIntegrationFixture() = default;

ZIntegrationFixture::~ZIntegrationFixture() = default;

bool ZIntegrationFixture::OnCluster() {
    const char* broker = std::getenv("ZTEST_BROKER");
    return broker != nullptr && std::string(broker) == "ejabberd";
}

void ZIntegrationFixture::TearDownTestSuite() {
    SharedCluster().reset();
}

void ZIntegrationFixture::SetUp() {
    ASSERT_FALSE(m_folder.Path().empty());
    std::string error;
    if (!OnCluster()) {
        if (!ZTestBroker::Available()) {
            GTEST_SKIP() << "mosquitto is not installed";
        }
        ASSERT_TRUE(m_broker.Start(&error)) << error;
    } else {
        if (!ZTestEjabberd::Available()) {
            GTEST_SKIP() << "ejabberd is not installed, or this user may not run it";
        }
        auto& cluster = SharedCluster();
        if (!cluster) {
            cluster = std::make_unique<ZTestEjabberd>(2);
            const auto started = std::chrono::steady_clock::now();
            ASSERT_TRUE(cluster->Start(&error)) << error;
            std::cout << "ejabberd cluster started in "
                      << std::chrono::duration_cast<std::chrono::milliseconds>(
                             std::chrono::steady_clock::now() - started)
                             .count()
                      << " ms\n";
        }
        // A test that failed halfway may have left a node down.
        for (int node = 0; node < cluster->Nodes(); ++node) {
            if (!cluster->IsNodeRunning(node)) {
                ASSERT_TRUE(cluster->StartNode(node, &error)) << error;
            }
        }
        for (const char* topic : kRetainedTopics) {
            std::string output;
            auto args = BrokerClientArgs(0);
            args.insert(args.begin(), "/usr/bin/mosquitto_pub");
            args.insert(args.end(), {"-r", "-n", "-t", topic});
            ASSERT_EQ(RunTool(args, output), 0) << output;
        }
    }
    m_pObserver = std::make_unique<ZTopologyObserver>(BrokerURL(0));
    ASSERT_TRUE(m_pObserver->Connect(std::chrono::seconds(10), &error)) << error;
}

void ZIntegrationFixture::TearDown() {
    if (!HasFailure()) {
        return;
    }
    // The logs stay for whoever reads the failure.
    m_folder.Keep();
    std::cerr << "Logs of the processes: " << m_folder.Path() << "\n";
    if (OnCluster() && SharedCluster()) {
        for (int node = 0; node < SharedCluster()->Nodes(); ++node) {
            std::cerr << SharedCluster()->NodeName(node) << ":\n" << SharedCluster()->LogText(node) << "\n";
        }
    }
    if (m_pObserver) {
        if (const auto topology = m_pObserver->Topology()) {
            std::cerr << "Graph at the end:\n";
            for (const auto& line : ZTopologyObserver::Signature(*topology)) {
                std::cerr << "  " << line << "\n";
            }
        }
    }
}

ZNodeManagerProcess& ZIntegrationFixture::Launch(ZHostConfig config, int brokerNode) {
    m_processes.push_back(std::make_unique<ZNodeManagerProcess>(
        ZNodeManagerProcess::ZPrograms{Z_ZNODEMANAGER, Z_NODE_DISCOVERY_MODULE}, std::move(config),
        m_folder.Path()));
    m_brokerNodes.push_back(brokerNode % BrokerNodes());
    ZNodeManagerProcess& process = *m_processes.back();
    std::string error;
    EXPECT_TRUE(process.Start(BrokerURL(m_brokerNodes.back()), &error)) << error;
    return process;
}

std::string ZIntegrationFixture::BrokerURL(int node) const {
    return OnCluster() ? SharedCluster()->URL(node) : m_broker.URL();
}

std::string ZIntegrationFixture::LoggedBrokerURL(int node) const {
    return OnCluster() ? SharedCluster()->URL(node, ZTestEjabberd::kUser, "***") : m_broker.URL();
}

std::vector<std::string> ZIntegrationFixture::BrokerClientArgs(int node) const {
    if (!OnCluster()) {
        return {"-p", std::to_string(m_broker.Port())};
    }
    return {"-p", std::to_string(SharedCluster()->Port(node)),
            "-u", ZTestEjabberd::kUser,
            "-P", ZTestEjabberd::kPassword};
}

void ZIntegrationFixture::KillBroker() {
    if (OnCluster()) {
        SharedCluster()->KillNode(0);
    } else {
        m_broker.Kill();
    }
}

bool ZIntegrationFixture::StartBroker(std::string* error) {
    return OnCluster() ? SharedCluster()->StartNode(0, error) : m_broker.Start(error);
}

int ZIntegrationFixture::BrokerNodeOf(const ZNodeManagerProcess& process) const {
    for (std::size_t i = 0; i < m_processes.size(); ++i) {
        if (m_processes[i].get() == &process) {
            return m_brokerNodes[i];
        }
    }
    return 0;
}

void ZIntegrationFixture::StartSystem() {
    LaunchSystem();
    WaitForSystem();
}

void ZIntegrationFixture::LaunchSystem() {
    m_pBridge =
        &Launch(ZHostConfig("Bridge-NM", "Bridge").HostDiscovery(kDeadTimeSecs).DeadTime(kDeadTimeSecs));
    m_pRadar = &Launch(ZHostConfig("Radar-NM", "Deck")
                           .DeadTime(kDeadTimeSecs)
                           .AddNode("ZNode", "Radar", "Radar1", "Deck")
                           .AddNode("ZNode", "Scope", "Scope1", "Deck")
                           .Connect("status/Radar1/scan", "control/Scope1/show"),
                       1);
    m_pDisplay = &Launch(ZHostConfig("Display-NM", "Bridge")
                             .DeadTime(kDeadTimeSecs)
                             .AddNode("ZNode", "Display", "Display1", "Bridge")
                             .AddNode("ZNode", "Panel", "Panel1", "Bridge")
                             .Connect("status/Display1/out", "control/Panel1/in"));
}

void ZIntegrationFixture::WaitForSystem() {
    const auto uids = SystemUIDs();
    const bool whole = m_pObserver->WaitForTopology(
        [&uids](const ZTopologyMsg& topology) {
            return std::all_of(uids.begin(), uids.end(),
                               [&topology](const std::string& uid) {
                                   return ZTopologyObserver::HasNode(topology, uid);
                               }) &&
                   topology.m_edges.size() == 2;
        },
        kSettle);
    ASSERT_TRUE(whole) << "the system did not register within " << kSettle.count() << " s";
}

std::vector<std::string> ZIntegrationFixture::SystemUIDs() const {
    return ZNodeManagerProcess::UIDsOf(m_processes);
}

bool ZIntegrationFixture::WaitUntilGone(const ZNodeManagerProcess& gone, std::chrono::milliseconds timeout) {
    std::vector<std::string> goneUIDs = gone.Config().NodeUIDs();
    goneUIDs.push_back(gone.UID());
    const auto all = SystemUIDs();
    return m_pObserver->WaitForTopology(
        [&](const ZTopologyMsg& topology) {
            for (const auto& uid : all) {
                if (ZTopologyObserver::HasNode(topology, uid) == Contains(goneUIDs, uid)) {
                    return false;
                }
            }
            return true;
        },
        timeout);
}

bool ZIntegrationFixture::WaitForSignature(const std::vector<std::string>& signature,
                                           std::chrono::milliseconds timeout) {
    return m_pObserver->WaitForTopology(
        [&signature](const ZTopologyMsg& topology) {
            return ZTopologyObserver::Signature(topology) == signature;
        },
        timeout);
}

std::vector<std::string> ZIntegrationFixture::CurrentSignature() {
    const auto topology = m_pObserver->Topology();
    return topology ? ZTopologyObserver::Signature(*topology) : std::vector<std::string>();
}

int ZIntegrationFixture::RunTool(const std::vector<std::string>& args, std::string& output,
                                 const std::string& inputPath) {
    const std::string logPath = m_folder.Path() + "/tool.log";
    std::remove(logPath.c_str());
    const int code = ZChildProcess::Run(args, logPath, kSettle, inputPath);
    std::ifstream log(logPath);
    std::stringstream text;
    text << log.rdbuf();
    output = text.str();
    return code;
}
