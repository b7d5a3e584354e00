// Node managers registering with a real discovery node on a private in-process bus. Every pump
// runs on the test thread (ZPumpDriver) and time is a ZManualClock.
#include "NodeBase/ZNodeManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZOnlineStatusMsg.h"
#include "NodeBase/ZRemovalHistoryMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "NodeComm/ZCommManager.h"
#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "NodeDiscovery/ZNodeDiscovery.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZMakeShared.h"
#include "ZTestKit/ZCapturingLogSink.h"
#include "ZTestKit/ZManualClock.h"
#include "ZTestKit/ZPumpDriver.h"
#include "ZTestKit/ZRecordingSubscriber.h"

namespace {

using std::chrono::milliseconds;
using Strings = std::vector<std::string>;

class ZManagedNode : public ZNode {
    Z_FACTORY_CLASS(ZManagedNode)

public:
    using ZNode::ZNode;
    ~ZManagedNode() override { StopAction(true); }
};

const bool g_registered = [] {
    ZClassRegistration<ZManagedNode>::Register("ZNode");
    return true;
}();

constexpr const char* kRequests[] = {"addnodemanager",
                                     "removenodemanager",
                                     "addnode",
                                     "addplugin",
                                     "gettopo",
                                     "topoconnect",
                                     "finduid",
                                     "findnode",
                                     "topodisconnect",
                                     "notifytopochanged",
                                     "getmasternodemanageruid",
                                     "locking"};

ZCommEndpoint Discovery(ZEndpointType type, const char* name) {
    return ZCommEndpoint(ZNodeUID("ZNodeDiscovery1"), type, name);
}

ZNodeManagerConfig::ZHostedNode Node(const char* name, const char* uid = "",
                                     const char* className = "ZManagedNode") {
    ZNodeManagerConfig::ZHostedNode node;
    node.m_className = className;
    node.m_name = name;
    node.m_uid = ZNodeUID(uid);
    node.m_group = "G";
    return node;
}

ZNodeManagerConfig::ZConnection Connection(const char* from, const char* to, const char* fromGroup = "") {
    ZNodeManagerConfig::ZConnection connection;
    ZNodeManagerConfig::ParseEndpoint(from, connection.m_from);
    ZNodeManagerConfig::ParseEndpoint(to, connection.m_to);
    connection.m_fromGroup = fromGroup;
    return connection;
}

// The in-process transport in a broker's order of things: it connects only when asked, and keeps the
// last will it is given, which it cannot send (false, as the in-process transport answers).
class ZWillKeepingComm : public ZNodeCommLocal {
public:
    using ZNodeCommLocal::ZNodeCommLocal;
    bool Connect() override {
        m_bConnectAsked = true;
        return ZNodeCommLocal::Connect();
    }
    bool IsConnected() const override { return m_bConnectAsked && ZNodeCommLocal::IsConnected(); }
    bool SetLastWill(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) override {
        m_willEndpoint = endpoint;
        m_pWill = message;
        m_bWillBeforeConnect = !m_bConnectAsked;
        return false;
    }

    ZCommEndpoint m_willEndpoint;
    std::shared_ptr<ZMessage> m_pWill;
    bool m_bWillBeforeConnect = false;

private:
    bool m_bConnectAsked = false;
};

// Every request the discovery node receives, in order, as "<sender> <request>", with the details
// read when it is published (the discovery node answers some requests by changing them).
class ZRequestLog {
public:
    explicit ZRequestLog(const std::shared_ptr<ZNodeComm>& comm) : m_pComm(comm) {
        for (const char* name : kRequests) {
            m_ids.push_back(comm->Subscribe(
                Discovery(EP_CONTROL, name),
                [this, name](const ZCommEndpoint&, const std::shared_ptr<ZMessage>& message) {
                    m_requests.push_back(std::string(message->GetSource().m_uid.c_str()) + " " + name);
                    if (auto node = std::dynamic_pointer_cast<ZDiscoveryRequestMsg>(message)) {
                        m_details.push_back(std::string("uid=") + node->m_uid.c_str());
                    } else if (auto lock = std::dynamic_pointer_cast<ZDiscoveryLockUnlockMsg>(message)) {
                        m_details.push_back(std::string(lock->m_bLock ? "lock" : "unlock") +
                                            (message->GetResponseRequested() ? " answered" : " unanswered"));
                    } else if (auto registration = std::dynamic_pointer_cast<ZDiscoveryManagerMsg>(message)) {
                        m_details.push_back("session=" + std::to_string(registration->m_sessionID) +
                                            " attempt=" + std::to_string(message->GetDeliveryInfo()));
                    } else {
                        m_details.push_back("");
                    }
                }));
        }
    }
    ~ZRequestLog() {
        for (const auto id : m_ids) {
            m_pComm->Unsubscribe(id);
        }
    }
    Strings From(const std::string& sender, const std::string& request = "") const {
        Strings found;
        for (std::size_t i = 0; i < m_requests.size(); ++i) {
            const bool sentBy = m_requests[i].rfind(sender + " ", 0) == 0;
            if (sentBy && (request.empty() || m_requests[i] == sender + " " + request)) {
                found.push_back(request.empty() ? m_requests[i] : m_details[i]);
            }
        }
        return found;
    }
    void Clear() {
        m_requests.clear();
        m_details.clear();
    }

private:
    std::shared_ptr<ZNodeComm> m_pComm;
    std::vector<ZNodeComm::SubscriptionId> m_ids;
    Strings m_requests;
    Strings m_details;
};

class ZNodeManagerDiscoveryTest : public ::testing::Test {
protected:
    ZNodeManagerDiscoveryTest()
        : m_pBus(std::make_shared<ZLocalBus>()),
          m_pClients(std::make_shared<ZNodeCommLocal>(m_pBus)),
          m_topoChanged(m_pClients, Discovery(EP_STATUS, "topochanged")),
          m_nodesDisconnected(m_pClients, Discovery(EP_STATUS, "nodesdisconnected")),
          m_requests(m_pClients) {
        StartDiscovery();
    }
    ~ZNodeManagerDiscoveryTest() override {
        for (auto& [uid, manager] : m_managers) {
            manager->Halt();
        }
        m_pDiscovery->StopAction(true);
    }

    static std::shared_ptr<ZNodeManagerConfig> Config(const char* uid,
                                                      std::vector<ZNodeManagerConfig::ZHostedNode> nodes) {
        auto config = ZMakeShared<ZNodeManagerConfig>();
        config->m_uid = ZNodeUID(uid);
        config->m_group = "G";
        config->m_nodes.assign(nodes.begin(), nodes.end());
        return config;
    }
    // Loads and starts a manager on a transport of its own, as another process would have.
    ZNodeManager& Start(std::shared_ptr<ZNodeManagerConfig> config) {
        auto manager = ZMakeShared<ZNodeManager>(config->m_uid.c_str());
        manager->m_logLevel = LOGLEVEL_PROGRESS;
        EXPECT_TRUE(manager->Load(config));
        auto comm = std::make_shared<ZWillKeepingComm>(m_pBus);
        EXPECT_TRUE(manager->StartManual(comm));
        m_comms[config->m_uid.c_str()] = comm;
        auto& slot = m_managers[config->m_uid.c_str()];
        if (slot) {
            m_retired.push_back(slot);
        }
        slot = manager;
        return *manager;
    }
    ZNodeManager& Manager(const std::string& uid) { return *m_managers.at(uid); }
    ZWillKeepingComm& CommOf(const std::string& uid) { return *m_comms.at(uid); }

    // A discovery node that knows nothing yet, as a newly started process has.
    void StartDiscovery() {
        if (m_pDiscovery) {
            m_pDiscovery->StopAction(true);
        }
        m_pDiscoveryComm = std::make_shared<ZNodeCommLocal>(m_pBus);
        m_pDiscovery = ZMakeShared<ZNodeDiscovery>("discovery");
        m_pDiscovery->SetMasterNodeManagerUID(ZNodeUID("Master"));
        EXPECT_TRUE(m_pDiscovery->Initialize(m_pDiscoveryComm, nullptr, m_pDiscovery->GetUID()));
    }
    // The online status the discovery node's host publishes.
    void PublishOnline(bool online, std::int64_t startID) {
        auto status = ZMakeShared<ZOnlineStatusMsg>();
        status->m_bOnline = online;
        status->m_nodeManagerUID = ZNodeUID("Host");
        status->m_startID = startID;
        status->SetRetained(true);
        m_pClients->Publish(Discovery(EP_STATUS, "online"), status);
    }

    // Runs the discovery node and the named managers (all of them by default) until quiet, and
    // again while idle hooks have left requests queued.
    void Run(const Strings& managers = {}) {
        std::vector<ZNode*> nodes{m_pDiscovery.get()};
        for (auto& [uid, manager] : m_managers) {
            if (managers.empty() || std::find(managers.begin(), managers.end(), uid) != managers.end()) {
                nodes.push_back(manager.get());
            }
        }
        const auto queued = [&nodes] {
            return std::any_of(nodes.begin(), nodes.end(),
                               [](ZNode* node) { return node->QueuedCount() > 0; });
        };
        do {
            m_driver.RunUntilQuiet(nodes);
            ASSERT_TRUE(m_driver.WasQuiet());
        } while (queued());
    }
    // Lets time pass in steps of 250 ms, running the pumps after each.
    void RunFor(milliseconds duration, const Strings& managers = {}) {
        for (milliseconds step(0); step < duration; step += milliseconds(250)) {
            m_clock.Advance(milliseconds(250));
            Run(managers);
        }
    }

    Strings GraphUIDs() const {
        Strings uids;
        for (const auto& node : m_pDiscovery->GetTopology()->m_nodes) {
            uids.emplace_back(node.m_uid.c_str());
        }
        return uids;
    }
    bool RegistryKnows(const char* uid) {
        ZNodeUID manager;
        return m_pDiscoveryComm->GetCommManager()->FindNodeManagerOf(ZNodeUID(uid), manager);
    }
    Strings Disconnected(std::size_t index) const {
        Strings uids;
        const auto message =
            std::dynamic_pointer_cast<ZNodesDisconnectedMsg>(m_nodesDisconnected.Messages().at(index));
        for (const auto& uid : message->m_nodeUIDs) {
            uids.emplace_back(uid.c_str());
        }
        return uids;
    }

    ZManualClock m_clock;
    ZScopedLogCapture m_log;
    ZPumpDriver m_driver;
    std::shared_ptr<ZLocalBus> m_pBus;
    std::shared_ptr<ZNodeCommLocal> m_pDiscoveryComm;
    std::shared_ptr<ZNodeCommLocal> m_pClients;
    ZRecordingSubscriber m_topoChanged;
    ZRecordingSubscriber m_nodesDisconnected;
    ZRequestLog m_requests;
    std::shared_ptr<ZNodeDiscovery> m_pDiscovery;
    std::map<std::string, std::shared_ptr<ZNodeManager>> m_managers;
    std::map<std::string, std::shared_ptr<ZWillKeepingComm>> m_comms;
    std::vector<std::shared_ptr<ZNodeManager>> m_retired;
};

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
        "Node manager <M> running: <3> nodes, <1> plug-ins, <1> connections registered", LOGLEVEL_PROGRESS));
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
    auto removal = ZMakeShared<ZRemoveNodeManagerMsg>();
    removal->m_nodeManagerUID = ZNodeUID("M");
    removal->SetSource(ZCommEndpoint(ZNodeUID("Admin"), EP_CONTROL, "removenodemanager"));
    m_pClients->Publish(Discovery(EP_CONTROL, "removenodemanager"), removal);
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

TEST_F(ZNodeManagerDiscoveryTest, RestartedDiscoveryGetsEveryManagerBackButAFirstSightingChangesNothing) {
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
    EXPECT_TRUE(m_requests.From("M").empty());
    EXPECT_EQ(m_log->Count("Discovery node <ZNodeDiscovery1> hosted by <Host> is offline: start <1001>",
                           LOGLEVEL_PROGRESS),
              2u);  // one line per manager

    StartDiscovery();
    PublishOnline(true, 2002);
    RunFor(milliseconds(1000));
    PublishOnline(true, 2002);  // told twice, registers once
    Run();

    // K took the lock first, so M asked again after its back-off.
    EXPECT_EQ(m_requests.From("M"), (Strings{"M addnodemanager", "M addnodemanager", "M addnode", "M addnode",
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
    sut->Stop();

    EXPECT_EQ(discovery->GetMasterNodeManagerUID(), ZNodeUID("DiscoveryNM"));
    EXPECT_EQ(discovery->GetUID(), ZNodeUID("ZNodeDiscovery1"));
    EXPECT_EQ(sut->GetMasterNodeManagerUIDFromDiscovery(), ZNodeUID("DiscoveryNM"));
    ASSERT_EQ(discovery->GetTopology()->m_nodes.size(), 2u);  // the manager and its plain node
    EXPECT_EQ(discovery->GetTopology()->m_nodes[1].m_uid, ZNodeUID("ZManagedNode1"));
    EXPECT_EQ(topoChanged.Count(), 1u);
    EXPECT_TRUE(discovery->IsStopped());
    ASSERT_EQ(online.Count(), 2u);
    EXPECT_EQ(text(started), "online DiscoveryNM retained");
    EXPECT_EQ(text(online.Messages()[1]), "offline DiscoveryNM retained");
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
