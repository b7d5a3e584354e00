// Failover on a two-node ejabberd cluster: every process lists both nodes, and the crash of the
// node a process uses moves it to the other. The times it takes are printed for docs/performance.md.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "NodeBase/ZTopologyMsg.h"
#include "NodeComm/ZBrokerAddress.h"
#include "ZHostConfig.h"
#include "ZNodeManagerProcess.h"
#include "ZScratchFolder.h"
#include "ZTestKit/ZTestBroker.h"
#include "ZTestKit/ZTestEjabberd.h"
#include "ZTopologyObserver.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// As in the example configuration: the sign of life (every 20 s) plays no part in what is measured.
constexpr int kDeadTimeSecs = 60;
constexpr auto kSettle = 30s;

class ZClusterFailoverTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!ZTestEjabberd::Available()) {
            GTEST_SKIP() << "ejabberd is not installed";
        }
        std::string error;
        ASSERT_TRUE(m_cluster.Start(&error)) << error;
    }

    void TearDown() override {
        if (HasFailure()) {
            m_folder.Keep();
            std::cerr << "Logs of the processes: " << m_folder.Path() << "\n";
        }
    }

    // Both nodes, the given one first.
    std::string URLs(int first) const { return m_cluster.URL(first) + "," + m_cluster.URL(1 - first); }

    ZNodeManagerProcess& Launch(ZHostConfig config, int firstNode) {
        m_processes.push_back(std::make_unique<ZNodeManagerProcess>(
            ZNodeManagerProcess::ZPrograms{Z_ZNODEMANAGER, Z_NODE_DISCOVERY_MODULE}, std::move(config),
            m_folder.Path()));
        std::string error;
        EXPECT_TRUE(m_processes.back()->Start(URLs(firstNode), &error)) << error;
        return *m_processes.back();
    }

    // Every manager and node in the graph, both connections, and every manager known to "findnode".
    bool Whole() {
        const auto topology = m_pObserver->Topology(200ms);
        if (!topology || topology->m_edges.size() != 2) {
            return false;
        }
        const auto uids = ZNodeManagerProcess::UIDsOf(m_processes);
        return std::all_of(
                   uids.begin(), uids.end(),
                   [&](const std::string& uid) { return ZTopologyObserver::HasNode(*topology, uid); }) &&
               std::all_of(m_processes.begin(), m_processes.end(), [this](const auto& process) {
                   return m_pObserver->FindNodeManager(process->UID(), 200ms) == 1;
               });
    }

    // Whether the process has logged its move from the node to the other one.
    bool Moved(const ZNodeManagerProcess& process, int from) const {
        return process.CountInLog("Connected to <" + ZBrokerAddress::Redact(m_cluster.URL(1 - from)) +
                                  "> as <" + process.UID() + "-") > 0 &&
               process.CountInLog("(moved from <" + ZBrokerAddress::Redact(m_cluster.URL(from)) + ">)") > 0;
    }

    // Kills the node and waits until the processes that used it have moved and the graph is whole;
    // the milliseconds it took.
    long long KillAndRecover(int node, const std::vector<const ZNodeManagerProcess*>& movers) {
        const auto killed = Clock::now();
        m_cluster.KillNode(node);
        const bool recovered = ZWaitUntil(
            [&] {
                return std::all_of(
                           movers.begin(), movers.end(),
                           [&](const ZNodeManagerProcess* process) { return Moved(*process, node); }) &&
                       Whole();
            },
            kSettle);
        EXPECT_TRUE(recovered) << "the graph was not whole again after node " << node << " died";
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - killed).count();
    }

    ZTestEjabberd m_cluster{2};
    ZScratchFolder m_folder{"zcluster"};
    std::vector<std::unique_ptr<ZNodeManagerProcess>> m_processes;
    std::unique_ptr<ZTopologyObserver> m_pObserver;
};

}  // namespace

// The discovery host and one manager on node 0, another manager and the observer on node 1. The
// discovery host restarts: both managers register again. Node 0 dies: the discovery host and its neighbour
// move to node 1 and nobody is removed. Node 0 comes back and node 1 dies: everything moves to node 0.
TEST_F(ZClusterFailoverTest, ProcessesOfADeadNodeMoveToTheOtherAndTheGraphStaysWhole) {
    auto& bridge =
        Launch(ZHostConfig("Bridge-NM", "Bridge").HostDiscovery(kDeadTimeSecs).DeadTime(kDeadTimeSecs), 0);
    auto& radar = Launch(ZHostConfig("Radar-NM", "Deck")
                             .DeadTime(kDeadTimeSecs)
                             .AddNode("ZNode", "Radar", "Radar1", "Deck")
                             .AddNode("ZNode", "Scope", "Scope1", "Deck")
                             .Connect("status/Radar1/scan", "control/Scope1/show"),
                         1);
    auto& display = Launch(ZHostConfig("Display-NM", "Bridge")
                               .DeadTime(kDeadTimeSecs)
                               .AddNode("ZNode", "Display", "Display1", "Bridge")
                               .AddNode("ZNode", "Panel", "Panel1", "Bridge")
                               .Connect("status/Display1/out", "control/Panel1/in"),
                           0);
    m_pObserver = std::make_unique<ZTopologyObserver>(URLs(1));
    std::string error;
    ASSERT_TRUE(m_pObserver->Connect(10s, &error)) << error;
    ASSERT_TRUE(ZWaitUntil([this] { return Whole(); }, kSettle)) << "the system did not register";

    // The discovery host restarts: Radar-NM on the other node registers again from its online status.
    const std::size_t starts = bridge.CountInLog("hosted by <Bridge-NM> is online");
    bridge.Kill();
    ASSERT_TRUE(bridge.Start(URLs(0), &error)) << error;
    ASSERT_TRUE(
        ZWaitUntil([&] { return bridge.CountInLog("hosted by <Bridge-NM> is online") > starts; }, kSettle));
    const auto online = Clock::now();
    ASSERT_TRUE(ZWaitUntil([this] { return Whole(); }, kSettle))
        << "not whole after the discovery host restarted";
    const auto restart = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - online).count();

    const long long firstMove = KillAndRecover(0, {&bridge, &display});
    // The crash took the wills of its clients with it, and moving is not leaving: nobody removed.
    EXPECT_TRUE(m_pObserver->DisconnectedUIDs().empty());

    // A node that rejoins may drop the other node's sessions for a moment (their wills are then
    // published and the managers register again): the second crash comes once all is whole again.
    ASSERT_TRUE(m_cluster.StartNode(0, &error)) << error;
    ASSERT_TRUE(ZWaitUntil([this] { return Whole(); }, kSettle)) << "not whole after node 0 rejoined";
    const long long secondMove = KillAndRecover(1, {&radar});

    std::cout << "[ figures  ] discovery host restarted: whole again " << restart
              << " ms after it was online\n";
    std::cout << "[ figures  ] node 0 (discovery host, Display-NM) killed: whole again after " << firstMove
              << " ms\n[ figures  ] node 1 (Radar-NM, observer) killed: whole again after " << secondMove
              << " ms\n";
    for (const auto& process : m_processes) {
        EXPECT_TRUE(process->IsRunning()) << process->UID();
    }
}
