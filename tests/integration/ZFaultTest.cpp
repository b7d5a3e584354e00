// Faults on real processes: node managers killed and frozen, the broker and the discovery host
// restarted. What the tests look at is what an operator sees: the discovery node's graph, its
// publications and its removal history. The broker-facing cases run on mosquitto and, registered a
// second time with ZTEST_BROKER=ejabberd, on a two-node ejabberd cluster (CMakeLists.txt).
#include <algorithm>
#include <chrono>

#include "NodeBase/ZTopologyMsg.h"
#include "ZIntegrationFixture.h"

namespace {

using std::chrono::steady_clock;

bool ContainsAll(const std::vector<std::string>& list, const std::vector<std::string>& items) {
    return std::all_of(items.begin(), items.end(), [&list](const std::string& item) {
        return std::find(list.begin(), list.end(), item) != list.end();
    });
}

}  // namespace

using ZFaultTest = ZIntegrationFixture;

TEST_F(ZFaultTest, KilledNodeManagerLeavesThroughItsLastWill) {
    StartSystem();
    ZNodeManagerProcess& sut = *m_pRadar;

    sut.Kill();

    ASSERT_TRUE(WaitUntilGone(sut, kSettle));
    // The broker's will, not the dead time: the removal gives the reason the will carries.
    EXPECT_TRUE(ZWaitUntil([this] { return !m_pObserver->RemovalReason("Radar-NM").empty(); }, kSettle));
    EXPECT_EQ(m_pObserver->RemovalReason("Radar-NM"), "connection lost");
    EXPECT_TRUE(ContainsAll(m_pObserver->DisconnectedUIDs(), {"Radar-NM", "Radar1", "Scope1"}));
    EXPECT_EQ(m_pBridge->CountInLog("now considered dead"), 0u);
    // What an operator asks afterwards.
    std::string history;
    EXPECT_EQ(RunTool({Z_ZTOPO, "--broker", BrokerURL(), "history"}, history), 0) << history;
    EXPECT_NE(history.find("Radar-NM  connection lost"), std::string::npos) << history;
}

// A clean stop says goodbye twice: a removal request, and an MQTT DISCONNECT that keeps the broker
// from publishing the will as well.
TEST_F(ZFaultTest, StoppedNodeManagerLeavesByRequestAndItsWillStaysUnpublished) {
    StartSystem();
    ZNodeManagerProcess& sut = *m_pRadar;

    EXPECT_EQ(sut.Stop(kSettle), 0);

    ASSERT_TRUE(WaitUntilGone(sut, kSettle));
    EXPECT_TRUE(ZWaitUntil([this] { return !m_pObserver->RemovalReason("Radar-NM").empty(); }, kSettle));
    EXPECT_EQ(m_pObserver->RemovalReason("Radar-NM"), "request");
    EXPECT_FALSE(
        ZWaitUntil([this] { return m_pBridge->CountInLog("<Radar-NM> to be removed: connection lost") > 0; },
                   std::chrono::seconds(2)))
        << "the broker published the will of a node manager that stopped cleanly";
}

TEST_F(ZFaultTest, FrozenNodeManagerIsRemovedAfterTheDeadTime) {
    StartSystem();
    ZNodeManagerProcess& sut = *m_pDisplay;

    const auto frozen = steady_clock::now();
    ASSERT_TRUE(sut.Freeze());

    // Its connection stays up, so no will: only its silence gives it away.
    ASSERT_TRUE(WaitUntilGone(sut, kSettle));
    EXPECT_GE(steady_clock::now() - frozen, std::chrono::seconds(kDeadTimeSecs));
    EXPECT_TRUE(ZWaitUntil([this] { return !m_pObserver->RemovalReason("Display-NM").empty(); }, kSettle));
    EXPECT_EQ(m_pObserver->RemovalReason("Display-NM"), "silence");
    EXPECT_TRUE(ContainsAll(m_pObserver->DisconnectedUIDs(), {"Display-NM", "Display1", "Panel1"}));

    // Thawed, it may register again before it dies; once dead, its will takes it out either way.
    ASSERT_TRUE(sut.Thaw());
    sut.Kill();
    EXPECT_TRUE(WaitUntilGone(sut, kSettle));
}

// On the cluster the broker is node 0, with the discovery host on it; Radar-NM on node 1 keeps its
// connection.
TEST_F(ZFaultTest, BrokerRestartLeavesTheSameTopology) {
    StartSystem();
    const auto before = CurrentSignature();
    ASSERT_FALSE(before.empty());

    const auto connections = [this](const ZNodeManagerProcess& process) {
        return process.CountInLog("Connected to <" + LoggedBrokerURL(BrokerNodeOf(process)) + "> as <" +
                                  process.UID() + "-");
    };
    std::vector<std::size_t> connectionsBefore;
    for (const auto& process : m_processes) {
        connectionsBefore.push_back(connections(*process));
    }

    KillBroker();
    std::string error;
    ASSERT_TRUE(StartBroker(&error)) << error;

    // Every client of the broker comes back on its own, and each node manager logs the new
    // connection.
    const auto reconnected = [&] {
        for (std::size_t i = 0; i < m_processes.size(); ++i) {
            if (BrokerNodeOf(*m_processes[i]) == 0 && connections(*m_processes[i]) <= connectionsBefore[i]) {
                return false;
            }
        }
        return m_pObserver->ConnectCount() >= 2;
    };
    ASSERT_TRUE(ZWaitUntil(reconnected, kSettle));
    // The outage may have been longer than the dead time: the discovery node judges it within a
    // dead time and a monitor run, and whoever it removed registers again. Only a graph seen after
    // that counts.
    const auto judged = steady_clock::now() + std::chrono::seconds(kDeadTimeSecs + 2);
    const bool same = m_pObserver->WaitForTopology(
        [&](const ZTopologyMsg& topology) {
            return steady_clock::now() > judged && ZTopologyObserver::Signature(topology) == before;
        },
        kSettle);
    ASSERT_TRUE(same);
}

TEST_F(ZFaultTest, HostsStartedBeforeTheBrokerConnectOnceItIsUp) {
    KillBroker();
    LaunchSystem();
    const auto refused = [this] {
        return std::all_of(m_processes.begin(), m_processes.end(), [this](const auto& process) {
            return BrokerNodeOf(*process) != 0 || process->CountInLog("Connection refused") > 0;
        });
    };
    ASSERT_TRUE(ZWaitUntil(refused, kSettle));

    std::string error;
    ASSERT_TRUE(StartBroker(&error)) << error;

    WaitForSystem();
}

// A broker without persistence forgets retained messages when it restarts: the discovery host's
// online status must be there again for those who subscribe after the outage. On the cluster, on
// either node: a node that did not know the topic when it started never shows another node's
// retained message, so there the host's repeated status must reach the subscriber.
TEST_F(ZFaultTest, OnlineStatusIsRetainedAgainAfterABrokerRestart) {
    StartSystem();
    const std::string connected = "Connected to <" + LoggedBrokerURL() + "> as <Bridge-NM-";
    const std::size_t connectionsBefore = m_pBridge->CountInLog(connected);

    KillBroker();
    std::string error;
    ASSERT_TRUE(StartBroker(&error)) << error;
    ASSERT_TRUE(ZWaitUntil([&] { return m_pBridge->CountInLog(connected) > connectionsBefore; }, kSettle));

    for (int node = 0; node < BrokerNodes(); ++node) {
        std::string status;
        auto args = BrokerClientArgs(node);
        args.insert(args.begin(), "/usr/bin/mosquitto_sub");
        args.insert(args.end(), {"-C", "1", "-W", "10", "-t", "status/ZNodeDiscovery1/online"});
        EXPECT_EQ(RunTool(args, status), 0) << "broker node " << node << ": " << status;
        EXPECT_NE(status.find("\"bOnline\":true"), std::string::npos)
            << "broker node " << node << ": " << status;
    }
}

TEST_F(ZFaultTest, RestartedDiscoveryHostGetsTheWholeTopologyBack) {
    StartSystem();
    const auto before = CurrentSignature();
    ASSERT_FALSE(before.empty());
    ZNodeManagerProcess& sut = *m_pBridge;

    sut.Kill();
    ASSERT_EQ(m_pObserver->FindNodeManager("Radar-NM", std::chrono::milliseconds(300)), -1);
    std::string error;
    ASSERT_TRUE(sut.Start(BrokerURL(BrokerNodeOf(sut)), &error)) << error;

    // The new discovery node knows nothing; the others register again, on seeing it online with a
    // new start or on their next sign of life, whichever comes first.
    EXPECT_TRUE(WaitForSignature(before, kSettle));
    for (const ZNodeManagerProcess* manager : {m_pRadar, m_pDisplay}) {
        EXPECT_GE(manager->CountInLog("restarted") + manager->CountInLog("no longer knows"), 1u)
            << manager->UID();
    }
}
