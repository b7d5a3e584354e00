// Node managers registering with a real discovery node on a private in-process bus. Every pump
// runs on the test thread (ZPumpDriver) and time is a ZManualClock.
#include "ZNodeManagerFixture.h"

namespace {

TEST_F(ZNodeManagerDiscoveryTest, RegistersInOrderAndLeavesAWholeGraphAndAFreeLock) {
    auto config = Config("M", {Node("a"), Node("b", "Fixed1"), Node("c")});
    config->m_modules = {"/opt/z/libRadar.so"};
    config->m_connections = {Connection("status/Fixed1/scan", "control/ZManagedNode1/show", "G")};
    auto& sut = Start(config);

    Run();

    EXPECT_EQ(m_requests.From("M"),
              (Strings{"M addnodemanager", "M addnode", "M addnode", "M addnode", "M addplugin",
                       "M topoconnect", "M notifytopochanged", "M locking"}));
    EXPECT_EQ(m_requests.From("M", "addnode"), (Strings{"uid=", "uid=Fixed1", "uid="}));
    EXPECT_EQ(m_requests.From("M", "locking"), Strings{"unlock unanswered"});
    EXPECT_EQ(sut.GetState(), NMSTATE_RUNNING);
    EXPECT_EQ(sut.GetRegistrationCount(), 1u);
    EXPECT_EQ(sut.GetMasterNodeManagerUIDFromDiscovery(), ZNodeUID("Master"));
    EXPECT_EQ(GraphUIDs(), (Strings{"M", "ZManagedNode1", "Fixed1", "ZManagedNode2"}));
    EXPECT_EQ(sut.GetHostedNodes()[2]->GetUID(), ZNodeUID("ZManagedNode2"));  // as the graph numbered it
    const auto& graph = *m_pDiscovery->GetTopology();
    EXPECT_EQ(graph.m_nodes[2].AsString(), "G.ZManagedNode.b(Fixed1)");
    EXPECT_EQ(graph.m_nodes[2].m_nodeManagerUID, ZNodeUID("M"));
    EXPECT_EQ(graph.m_plugins, ZStringList{"Radar"});
    ASSERT_EQ(graph.m_edges.size(), 1u);
    EXPECT_EQ(graph.m_edges[0].AsString(), "status/Fixed1/scan --> control/ZManagedNode1/show");
    EXPECT_EQ(graph.m_edges[0].m_fromGroup, "G");
    EXPECT_EQ(m_topoChanged.Count(), 1u);
    EXPECT_EQ(sut.GetTopoChangedCount(), 1u);
    EXPECT_TRUE(m_pDiscovery->GetLockOwner().IsEmpty());
    EXPECT_TRUE(RegistryKnows("ZManagedNode2"));
    EXPECT_EQ(m_log->Count("", LOGLEVEL_WARNING) + m_log->Count("", LOGLEVEL_ERROR), 0u);
    EXPECT_TRUE(m_log->Contains(
        "Node manager <M> running: <3> nodes, <1> plug-ins, <1> connections asked for", LOGLEVEL_PROGRESS));
}

TEST_F(ZNodeManagerDiscoveryTest, SignOfLifeKeepsAnIdleManagerAliveWhileASilentOneIsRemoved) {
    Start(Config("Idle", {Node("a")}));
    Run();
    Start(Config("Silent", {Node("b")}));
    Run();
    ASSERT_EQ(Manager("Silent").GetState(), NMSTATE_RUNNING);

    RunFor(milliseconds(40000), {"Idle"});  // four dead times

    EXPECT_TRUE(RegistryKnows("Idle"));
    EXPECT_EQ(GraphUIDs(), (Strings{"Idle", "ZManagedNode1"}));
    EXPECT_EQ(Manager("Idle").GetRegistrationCount(), 1u);
    EXPECT_EQ(m_requests.From("Idle", "findnode").size(), 11u);  // every 3.33 s, seen in 250 ms steps
    EXPECT_TRUE(m_requests.From("Silent", "findnode").empty());
    EXPECT_FALSE(RegistryKnows("Silent"));
    EXPECT_EQ(m_nodesDisconnected.Count(), 1u);
    EXPECT_EQ(Manager("Idle").GetNodesDisconnectedCount(), 1u);
    EXPECT_EQ(Manager("Idle").GetLastDisconnectedUIDs(), (Strings{"Silent", "ZManagedNode2"}));
    EXPECT_EQ(Manager("Idle").GetTopoChangedCount(), 3u);  // two registrations, one removal
}

TEST_F(ZNodeManagerDiscoveryTest, LockContentionMakesTheSecondAskAgainSoonUntilTheFirstReleases) {
    Start(Config("First", {Node("a")}));
    Start(Config("Second", {Node("b")}));
    Run({"Second"});  // First never hears its answer, so it keeps the lock
    RunFor(milliseconds(1000), {"Second"});
    ASSERT_EQ(m_pDiscovery->GetLockOwner(), ZNodeUID("First"));
    EXPECT_EQ(Manager("Second").GetState(), NMSTATE_REGISTERING);

    Run({"First"});
    RunFor(milliseconds(1000));

    EXPECT_EQ(Manager("First").GetState(), NMSTATE_RUNNING);
    EXPECT_EQ(Manager("Second").GetState(), NMSTATE_RUNNING);
    // While the lock is held, Second asks again every 50 to 150 ms, counting its attempts.
    const std::size_t retries = m_log->Count("refused registration attempt", LOGLEVEL_WARNING);
    ASSERT_GE(retries, 3u);
    EXPECT_TRUE(
        m_log->Contains("Discovery node ZNodeDiscovery1 refused registration attempt 3 of <Second> "
                        "(locked by another node manager); retrying in 0.",
                        LOGLEVEL_WARNING));
    const auto session = std::to_string(Manager("Second").GetSessionID());
    Strings attempts{"session=" + session + " attempt=0"};
    for (std::size_t i = 1; i <= retries; ++i) {
        const auto wait = ZNodeManager::LockedRetryWait(ZNodeUID("Second"), static_cast<std::int32_t>(i));
        EXPECT_TRUE(wait >= milliseconds(50) && wait <= milliseconds(150)) << i;
        attempts.push_back("session=" + session + " attempt=" + std::to_string(i + 1));
    }
    EXPECT_EQ(m_requests.From("Second", "addnodemanager"), attempts);
    EXPECT_NE(ZNodeManager::LockedRetryWait(ZNodeUID("First"), 1),
              ZNodeManager::LockedRetryWait(ZNodeUID("Second"), 1));
    EXPECT_EQ(GraphUIDs(), (Strings{"First", "ZManagedNode1", "Second", "ZManagedNode2"}));
    EXPECT_TRUE(m_pDiscovery->GetLockOwner().IsEmpty());
}

TEST_F(ZNodeManagerDiscoveryTest, ForgottenManagerRegistersAgainOnItsNextSignOfLife) {
    auto& sut = Start(Config("M", {Node("a"), Node("b")}));
    Run();
    const auto firstSession = sut.GetSessionID();
    StartDiscovery();  // a restart whose online status M missed
    Run();
    ASSERT_TRUE(GraphUIDs().empty());
    EXPECT_EQ(sut.GetState(), NMSTATE_RUNNING);  // it does not know yet
    m_requests.Clear();

    RunFor(sut.GetSignOfLifePeriod());

    EXPECT_EQ(
        m_log->Count("Discovery node <ZNodeDiscovery1> no longer knows node manager <M>; registering again",
                     LOGLEVEL_WARNING),
        1u);
    EXPECT_EQ(m_requests.From("M"), (Strings{"M findnode", "M addnodemanager", "M addnode", "M addnode",
                                             "M notifytopochanged", "M locking"}));
    EXPECT_EQ(m_requests.From("M", "addnode"), (Strings{"uid=ZManagedNode1", "uid=ZManagedNode2"}));
    EXPECT_EQ(sut.GetState(), NMSTATE_RUNNING);
    EXPECT_EQ(sut.GetRegistrationCount(), 2u);
    EXPECT_NE(sut.GetSessionID(), firstSession);
    EXPECT_EQ(GraphUIDs(), (Strings{"M", "ZManagedNode1", "ZManagedNode2"}));
    EXPECT_TRUE(m_pDiscovery->GetLockOwner().IsEmpty());
}

TEST_F(ZNodeManagerDiscoveryTest, RestartWithANewSessionReplacesTheOldNodes) {
    Start(Config("M", {Node("a"), Node("b", "B1")}));
    Run();
    Manager("M").Halt();
    EXPECT_TRUE(m_requests.From("M", "removenodemanager").empty());

    auto& restarted = Start(Config("M", {Node("a"), Node("b", "B1")}));
    Run();

    ASSERT_EQ(m_nodesDisconnected.Count(), 1u);
    EXPECT_EQ(Disconnected(0), (Strings{"M", "ZManagedNode1", "B1"}));
    EXPECT_EQ(restarted.GetState(), NMSTATE_RUNNING);
    EXPECT_EQ(GraphUIDs(), (Strings{"M", "ZManagedNode2", "B1"}));
}

TEST_F(ZNodeManagerDiscoveryTest, LastWillOfALostManagerRemovesItAtOnceSayingWhy) {
    auto& sut = Start(Config("M", {Node("a")}));
    Run();
    const auto& comm = CommOf("M");
    const auto will = std::dynamic_pointer_cast<ZRemoveNodeManagerMsg>(comm.m_pWill);
    ASSERT_NE(will, nullptr);
    EXPECT_TRUE(comm.m_bWillBeforeConnect);
    EXPECT_EQ(comm.m_willEndpoint, Discovery(EP_CONTROL, "removenodemanager"));
    EXPECT_EQ(will->m_nodeManagerUID, ZNodeUID("M"));
    EXPECT_EQ(will->m_reason, "connection lost");
    EXPECT_EQ(m_log->Count("last will"), 0u);  // refused by the in-process transport: nothing above detail

    sut.Halt();
    m_pClients->Publish(comm.m_willEndpoint, will);  // what the broker does for it
    Run();

    EXPECT_TRUE(GraphUIDs().empty());
    EXPECT_FALSE(RegistryKnows("M"));
    EXPECT_EQ(Disconnected(0), (Strings{"M", "ZManagedNode1"}));
    EXPECT_TRUE(m_log->Contains("Node manager <M> to be removed: connection lost", LOGLEVEL_PROGRESS));
}

// A first sighting (a broker that did not hand the retained status over) only makes a running
// manager ask, with its session, whether it is still registered.
TEST_F(ZNodeManagerDiscoveryTest, RestartedDiscoveryGetsEveryManagerBackAndAFirstSightingOnlyAsks) {
    auto config = Config("M", {Node("a"), Node("b", "B1")});
    config->m_connections = {Connection("status/B1/scan", "control/ZManagedNode1/show")};
    auto& sut = Start(config);
    Start(Config("K", {Node("c")}));
    RunFor(milliseconds(1000));  // K waits for M's lock
    const auto firstSession = sut.GetSessionID();
    m_requests.Clear();
    PublishOnline(true, 1001);
    PublishOnline(false, 1001);
    Run();
    EXPECT_EQ(m_requests.From("M"), (Strings{"M addnodemanager"}));
    EXPECT_EQ(sut.GetSessionID(), firstSession);
    EXPECT_EQ(m_log->Count("Discovery node <ZNodeDiscovery1> hosted by <Host> is offline: start <1001>",
                           LOGLEVEL_PROGRESS),
              2u);  // one line per manager

    StartDiscovery();
    PublishOnline(true, 2002);
    RunFor(milliseconds(1000));
    PublishOnline(true, 2002);  // told twice, registers once
    Run();

    // K took the lock first, so M asked again after its back-off.
    EXPECT_EQ(m_requests.From("M"),
              (Strings{"M addnodemanager", "M addnodemanager", "M addnodemanager", "M addnode", "M addnode",
                       "M topoconnect", "M notifytopochanged", "M locking"}));
    EXPECT_NE(sut.GetSessionID(), firstSession);
    EXPECT_EQ(Manager("K").GetRegistrationCount(), 2u);
    EXPECT_EQ(GraphUIDs(), (Strings{"K", "ZManagedNode2", "M", "ZManagedNode1", "B1"}));
    EXPECT_EQ(m_pDiscovery->GetTopology()->m_edges.size(), 1u);
}

// A manager hosting the discovery node, as a host process runs it.
TEST(ZNodeManagerHostingDiscoveryTest, DiscoveryNodeStartsFirstAsItsMasterAndIsSaidOnlineWhileItRuns) {
    ZManualClock clock;
    ZScopedLogCapture log;
    auto bus = std::make_shared<ZLocalBus>();
    auto comm = std::make_shared<ZWillKeepingComm>(bus);
    auto observer = std::make_shared<ZNodeCommLocal>(bus);
    ZRecordingSubscriber online(observer, Discovery(EP_STATUS, "online"));
    ZRecordingSubscriber topoChanged(observer, Discovery(EP_STATUS, "topochanged"));
    auto config = ZMakeShared<ZNodeManagerConfig>();
    config->m_uid = ZNodeUID("DiscoveryNM");
    config->m_nodes = {Node("discovery", "", "ZNodeDiscovery"), Node("a")};
    auto sut = ZMakeShared<ZNodeManager>("DiscoveryNM");
    ASSERT_TRUE(sut->Load(config));
    const auto discovery = std::dynamic_pointer_cast<ZNodeDiscovery>(sut->GetHostedNodes()[0]);
    ASSERT_NE(discovery, nullptr);
    const auto text = [](const std::shared_ptr<ZMessage>& message) {
        const auto status = std::dynamic_pointer_cast<ZOnlineStatusMsg>(message);
        return status ? std::string(status->m_bOnline ? "online " : "offline ") +
                            status->m_nodeManagerUID.c_str() + (status->GetRetained() ? " retained" : "")
                      : "none";
    };

    ASSERT_TRUE(sut->StartManual(comm));
    ZPumpDriver driver;
    driver.RunUntilQuiet(std::vector<ZNode*>{sut.get(), discovery.get()});
    const auto started = online.Last<ZOnlineStatusMsg>();
    EXPECT_EQ(sut->GetState(), NMSTATE_RUNNING);
    // Said again, not retained, every sign-of-life period (a third of the dead time).
    clock.Advance(sut->GetSignOfLifePeriod());
    driver.RunUntilQuiet(std::vector<ZNode*>{sut.get(), discovery.get()});
    clock.Advance(sut->GetSignOfLifePeriod());
    driver.RunUntilQuiet(std::vector<ZNode*>{sut.get(), discovery.get()});
    sut->Stop();

    EXPECT_EQ(discovery->GetMasterNodeManagerUID(), ZNodeUID("DiscoveryNM"));
    EXPECT_EQ(discovery->GetUID(), ZNodeUID("ZNodeDiscovery1"));
    EXPECT_EQ(sut->GetMasterNodeManagerUIDFromDiscovery(), ZNodeUID("DiscoveryNM"));
    ASSERT_EQ(discovery->GetTopology()->m_nodes.size(), 2u);  // the manager and its plain node
    EXPECT_EQ(discovery->GetTopology()->m_nodes[1].m_uid, ZNodeUID("ZManagedNode1"));
    EXPECT_EQ(topoChanged.Count(), 1u);
    EXPECT_TRUE(discovery->IsStopped());
    ASSERT_EQ(online.Count(), 4u);
    EXPECT_EQ(text(started), "online DiscoveryNM retained");
    EXPECT_EQ(text(online.Messages()[1]), "online DiscoveryNM");
    EXPECT_EQ(text(online.Messages()[2]), "online DiscoveryNM");
    EXPECT_EQ(text(online.Messages()[3]), "offline DiscoveryNM retained");
    EXPECT_EQ(text(comm->m_pWill), "offline DiscoveryNM retained");
    EXPECT_EQ(comm->m_willEndpoint, Discovery(EP_STATUS, "online"));
    EXPECT_TRUE(comm->m_bWillBeforeConnect);
    EXPECT_GT(started->m_startID, 0);
    EXPECT_EQ(online.Last<ZOnlineStatusMsg>()->m_startID, started->m_startID);
    EXPECT_EQ(sut->GetRegistrationCount(), 1u);  // its own status is no restart
    EXPECT_EQ(text(ZRecordingSubscriber(observer, Discovery(EP_STATUS, "online")).Last<ZMessage>()),
              "offline DiscoveryNM retained");  // kept for late subscribers
}

}  // namespace
