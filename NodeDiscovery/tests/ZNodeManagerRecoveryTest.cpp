// Node managers and the discovery node coming back from faults: a discovery node that restarted,
// two processes of one node manager, a node manager whose dead time is not the discovery node's.
#include "NodeBase/ZNumberingMsg.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZNodeManagerFixture.h"

namespace {

// Runs the discovery node alone.
const char* const kNone = "";

std::shared_ptr<ZCoreConfigParams> DeadTime(std::int32_t secs) {
    auto system = ZMakeShared<ZSystemParams>();
    system->m_nodeManagerTimeoutSecs = secs;
    auto config = ZMakeShared<ZCoreConfigParams>();
    config->SetConfig(system);
    return config;
}

class ZNodeManagerRecoveryTest : public ZNodeManagerDiscoveryTest {
protected:
    // Runs the pump of a manager that was replaced in m_managers (a second process of its UID).
    void RunRetired(std::size_t index) {
        std::vector<ZNode*> nodes{m_pDiscovery.get(), m_retired.at(index).get()};
        m_driver.RunUntilQuiet(nodes);
        Run();
    }
    // The discovery node restarts: a new one that knows nothing but what the transport retained,
    // and its host says so.
    void RestartDiscovery(std::int64_t startID) {
        StartDiscovery();
        PublishOnline(true, startID);
    }
    Strings SortedGraphUIDs() const {
        auto uids = GraphUIDs();
        std::sort(uids.begin(), uids.end());
        return uids;
    }
};

// The numbering is kept retained: a restarted discovery node goes on from it, whoever asks first.
TEST_F(ZNodeManagerRecoveryTest, RestartedDiscoveryNumbersOnFromWhereTheLastStartStopped) {
    Start(Config("M", {Node("a"), Node("b")}));
    Run();
    PublishOnline(true, 1);
    Run();
    ASSERT_EQ(GraphUIDs(), (Strings{"M", "ZManagedNode1", "ZManagedNode2"}));

    StartDiscovery();
    Start(Config("K", {Node("c")}));
    Run({"K"});  // K registers before M has heard of the restart
    PublishOnline(true, 2);
    RunFor(milliseconds(1000));

    EXPECT_EQ(GraphUIDs(), (Strings{"K", "ZManagedNode3", "M", "ZManagedNode1", "ZManagedNode2"}));
    EXPECT_EQ(m_requests.From("M", "addnode"),
              (Strings{"uid=", "uid=", "uid=ZManagedNode1", "uid=ZManagedNode2"}));
}

// Without the retained numbering (a broker that restarted meanwhile), the re-registered nodes
// still move the counter on, and once numbers of an earlier start are about, any UID in the graph
// is passed over, a chosen one too.
TEST_F(ZNodeManagerRecoveryTest, RestartedDiscoveryWithoutItsNumberingNeverHandsOutAUIDInUse) {
    Start(Config("M", {Node("a")}));
    Start(Config("C", {Node("chosen", "ZManagedNode2")}));
    RunFor(milliseconds(1000));
    PublishOnline(true, 1);
    Run();
    ASSERT_EQ(SortedGraphUIDs(), (Strings{"C", "M", "ZManagedNode1", "ZManagedNode2"}));
    auto forgotten = ZMakeShared<ZNumberingMsg>();
    forgotten->SetRetained(true);
    m_pClients->Publish(Discovery(EP_STATUS, "numbering"), forgotten);

    RestartDiscovery(2);
    RunFor(milliseconds(1000));
    Start(Config("K", {Node("c"), Node("d")}));
    Run();

    EXPECT_EQ(SortedGraphUIDs(),
              (Strings{"C", "K", "M", "ZManagedNode1", "ZManagedNode2", "ZManagedNode3", "ZManagedNode4"}));
    EXPECT_TRUE(m_log->Contains("Number <ZManagedNode2> of an earlier start is still in use; passed over",
                                LOGLEVEL_WARNING));
}

// A node manager frozen while a second process of it registers: its will and its thaw must not
// take the live process out, and it stops competing.
TEST_F(ZNodeManagerRecoveryTest, ReplacedProcessStopsCompetingAndItsWillRemovesNothing) {
    auto& frozen = Start(Config("M", {Node("a", "A1")}));
    Run();
    bool told = false;
    frozen.SetOnSuperseded([&told] { told = true; });
    const auto will = CommOf("M").m_pWill;
    ASSERT_NE(will, nullptr);

    auto& live = Start(Config("M", {Node("a", "A1")}));
    Run();  // the frozen one's pump does not run
    ASSERT_EQ(live.GetState(), NMSTATE_RUNNING);
    ASSERT_EQ(m_nodesDisconnected.Count(), 1u);  // the first process's instance, replaced
    m_pClients->Publish(Discovery(EP_CONTROL, "removenodemanager"), will);  // its connection timed out
    Run();
    RunRetired(0);  // it thaws

    EXPECT_EQ(frozen.GetState(), NMSTATE_SUPERSEDED);
    EXPECT_TRUE(told);
    EXPECT_EQ(m_log->Count("was replaced by a newer start of the same node manager", LOGLEVEL_ERROR), 1u);
    EXPECT_TRUE(m_log->Contains("Removal of node manager <M> ignored: it is for start", LOGLEVEL_WARNING));
    EXPECT_EQ(live.GetState(), NMSTATE_RUNNING);
    EXPECT_EQ(m_nodesDisconnected.Count(), 1u);
    EXPECT_EQ(GraphUIDs(), (Strings{"M", "A1"}));

    frozen.Stop();  // a superseded process says no goodbye either
    Run();
    EXPECT_EQ(GraphUIDs(), (Strings{"M", "A1"}));
    EXPECT_TRUE(RegistryKnows("M"));
}

// The same, when the first process was already gone from the graph (its will went out) before the
// second registered: it finds out when its transport reconnects.
TEST_F(ZNodeManagerRecoveryTest, ProcessBackAfterItsReplacementRegisteredStopsOnReconnecting) {
    auto& first = Start(Config("M", {Node("a", "A1")}));
    Run();
    m_pClients->Publish(Discovery(EP_CONTROL, "removenodemanager"), CommOf("M").m_pWill);
    Run({kNone});  // its connection is gone: it hears nothing
    ASSERT_TRUE(GraphUIDs().empty());
    const auto firstComm = m_comms.at("M");
    Start(Config("M", {Node("a", "A1")}));
    Run();

    firstComm->m_connections = 2;
    RunRetired(0);

    EXPECT_EQ(first.GetState(), NMSTATE_SUPERSEDED);
    EXPECT_EQ(Manager("M").GetState(), NMSTATE_RUNNING);
    EXPECT_EQ(GraphUIDs(), (Strings{"M", "A1"}));
    EXPECT_EQ(m_nodesDisconnected.Count(), 1u);
}

// A lost connection whose will took the manager out while it lived: once reconnected it is back
// with the same session, without waiting for its sign of life.
TEST_F(ZNodeManagerRecoveryTest, ReconnectedManagerWhoseWillWentOutRegistersAgainAtOnce) {
    auto& sut = Start(Config("M", {Node("a"), Node("b", "B1")}));
    Run();
    const auto session = sut.GetSessionID();
    m_pClients->Publish(Discovery(EP_CONTROL, "removenodemanager"), CommOf("M").m_pWill);
    Run({kNone});
    ASSERT_TRUE(GraphUIDs().empty());

    CommOf("M").m_connections = 2;
    Run();

    EXPECT_EQ(GraphUIDs(), (Strings{"M", "ZManagedNode1", "B1"}));
    EXPECT_EQ(sut.GetSessionID(), session);
    EXPECT_EQ(sut.GetState(), NMSTATE_RUNNING);
    EXPECT_TRUE(m_pDiscovery->GetLockOwner().IsEmpty());

    CommOf("M").m_connections = 3;  // and a reconnection that lost nothing changes nothing
    m_requests.Clear();
    Run();
    EXPECT_EQ(m_requests.From("M"), Strings{"M addnodemanager"});
    EXPECT_EQ(GraphUIDs(), (Strings{"M", "ZManagedNode1", "B1"}));
    EXPECT_EQ(sut.GetRegistrationCount(), 2u);
    EXPECT_TRUE(m_pDiscovery->GetLockOwner().IsEmpty());
}

// The sign of life follows the dead time the discovery node applies, not the manager's own.
TEST_F(ZNodeManagerRecoveryTest, ManagerWithALongerDeadTimeThanTheDiscoveryNodeIsNeverTakenForDead) {
    auto config = Config("M", {Node("a")});
    config->m_pConfig = DeadTime(60);
    auto& sut = Start(config);
    Run();

    RunFor(milliseconds(45000));  // more than four of the discovery node's dead times

    EXPECT_EQ(sut.GetRegistrationCount(), 1u);
    EXPECT_EQ(m_nodesDisconnected.Count(), 0u);
    EXPECT_EQ(sut.GetSignOfLifePeriod(), milliseconds(3333));
    EXPECT_EQ(m_log->Count("Node manager <M> is configured with a dead time of 60 s, discovery node "
                           "<ZNodeDiscovery1> applies 10 s: the sign of life follows the discovery node "
                           "(every 3.333 s)",
                           LOGLEVEL_WARNING),
              1u);
}

}  // namespace
