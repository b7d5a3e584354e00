// Faults that once left the graph wrong: a discovery host that restarted and numbered a node with a
// UID still in use, two processes of one node manager taking each other out, a node manager removed
// again and again because its own dead time was longer than the discovery node's.
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <set>

#include "NodeBase/ZTopologyMsg.h"
#include "ZIntegrationFixture.h"

namespace {

using std::chrono::seconds;

// The UIDs that two or more nodes of the graph share.
std::vector<std::string> SharedUIDs(const ZTopologyMsg& topology) {
    std::set<std::string> seen;
    std::vector<std::string> shared;
    for (const auto& node : topology.m_nodes) {
        if (!seen.insert(node.m_uid.c_str()).second) {
            shared.emplace_back(node.m_uid.c_str());
        }
    }
    return shared;
}

// A node of the manager that is not the manager's own record; empty when none.
std::string NodeOf(const ZTopologyMsg& topology, const std::string& manager) {
    for (const auto& node : topology.m_nodes) {
        if (node.m_nodeManagerUID.AsString() == manager.c_str() && node.m_uid.AsString() != manager.c_str()) {
            return node.m_uid.c_str();
        }
    }
    return std::string();
}

}  // namespace

class ZRecoveryFaultTest : public ZIntegrationFixture {
protected:
    ZNodeManagerProcess& LaunchBridge() {
        m_pBridge =
            &Launch(ZHostConfig("Bridge-NM", "Bridge").HostDiscovery(kDeadTimeSecs).DeadTime(kDeadTimeSecs));
        return *m_pBridge;
    }
    bool WaitForNode(const std::string& uid) {
        return m_pObserver->WaitForTopology(
            [&uid](const ZTopologyMsg& topology) { return ZTopologyObserver::HasNode(topology, uid); },
            kSettle);
    }
};

TEST_F(ZRecoveryFaultTest, NodeNumberedAfterADiscoveryRestartNeverTakesAUIDInUse) {
    ZNodeManagerProcess& bridge = LaunchBridge();
    Launch(ZHostConfig("Sensors-NM", "Deck").DeadTime(kDeadTimeSecs).AddNode("ZNode", "Display"));
    ASSERT_TRUE(WaitForNode("ZNode1"));

    bridge.Kill();
    std::string error;
    ASSERT_TRUE(bridge.Start(BrokerURL(), &error)) << error;
    ASSERT_TRUE(WaitForNode("Sensors-NM"));
    ASSERT_TRUE(WaitForNode("ZNode1"));
    Launch(ZHostConfig("Late-NM", "Deck").DeadTime(kDeadTimeSecs).AddNode("ZNode", "Probe"));

    std::string late;
    ASSERT_TRUE(m_pObserver->WaitForTopology(
        [&late](const ZTopologyMsg& topology) {
            late = NodeOf(topology, "Late-NM");
            return !late.empty();
        },
        kSettle));
    EXPECT_EQ(late, "ZNode2");
    const auto topology = m_pObserver->Topology();
    ASSERT_NE(topology, nullptr);
    EXPECT_EQ(SharedUIDs(*topology), std::vector<std::string>());
}

TEST_F(ZRecoveryFaultTest, FrozenProcessReplacedByASecondOneStopsCompetingWhenThawed) {
    LaunchBridge();
    const ZHostConfig sensors =
        ZHostConfig("Sensor-NM", "Deck").DeadTime(kDeadTimeSecs).AddNode("ZNode", "Probe", "Probe1", "Deck");
    ZNodeManagerProcess& first = Launch(sensors);
    ASSERT_TRUE(WaitForNode("Probe1"));

    ASSERT_TRUE(first.Freeze());
    const std::string folder = m_folder.Path() + "/second";
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    ZNodeManagerProcess second({Z_ZNODEMANAGER, Z_NODE_DISCOVERY_MODULE}, sensors, folder);
    std::string error;
    ASSERT_TRUE(second.Start(BrokerURL(), &error)) << error;
    ASSERT_TRUE(
        ZWaitUntil([&second] { return second.CountInLog("Node manager <Sensor-NM> running") > 0; }, kSettle));
    ASSERT_TRUE(first.Thaw());

    EXPECT_EQ(first.WaitExit(kSettle), 3) << first.LogText();
    EXPECT_EQ(first.CountInLog("was replaced by a newer start of the same node manager"), 1u);
    // Nothing comes after the one replacement: watched for longer than the dead time and a will.
    EXPECT_FALSE(ZWaitUntil([this] { return m_pObserver->RemovalReasons("Sensor-NM").size() > 1; },
                            seconds(3 * kDeadTimeSecs)));
    EXPECT_EQ(m_pObserver->RemovalReasons("Sensor-NM"), std::vector<std::string>{"new session"});
    EXPECT_TRUE(second.IsRunning());
    EXPECT_EQ(second.CountInLog("registering again"), 0u);
    EXPECT_EQ(m_pObserver->FindNodeManager("Sensor-NM"), 1);
    EXPECT_TRUE(WaitForNode("Probe1"));
}

TEST_F(ZRecoveryFaultTest, ManagerWithALongerDeadTimeThanTheDiscoveryNodeStaysRegistered) {
    LaunchBridge();
    ZNodeManagerProcess& sut =
        Launch(ZHostConfig("Patient-NM", "Deck").DeadTime(30).AddNode("ZNode", "Probe", "Probe1", "Deck"));
    ASSERT_TRUE(WaitForNode("Probe1"));

    // Its own dead time would have it speak every 10 s; the discovery node's takes it out after 3 s.
    EXPECT_FALSE(ZWaitUntil([this] { return !m_pObserver->RemovalReason("Patient-NM").empty(); },
                            seconds(4 * kDeadTimeSecs)));
    EXPECT_EQ(
        sut.CountInLog("Node manager <Patient-NM> is configured with a dead time of 30 s, discovery node "
                       "<ZNodeDiscovery1> applies 2 s"),
        1u);
    EXPECT_EQ(m_pObserver->FindNodeManager("Patient-NM"), 1);
}
