#include <gtest/gtest.h>

#include "NodeBase/ZDiscoveryConnectMsg.h"
#include "NodeBase/ZDiscoveryTopoChangeNotificationMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZRemovalHistoryMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZDiscoveryFixture.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Strings = std::vector<std::string>;

class ZNodeDiscoveryRemovalTest : public ZDiscoveryFixture {
protected:
    void Remove(const char* from, const char* manager) {
        auto message = ZMakeShared<ZRemoveNodeManagerMsg>();
        message->m_nodeManagerUID = ZNodeUID(manager);
        Send(from, "removenodemanager", message);
    }
    std::vector<std::string> Disconnected(std::size_t index) {
        auto message =
            std::dynamic_pointer_cast<ZNodesDisconnectedMsg>(m_nodesDisconnected.Messages().at(index));
        std::vector<std::string> uids;
        for (const auto& uid : message->m_nodeUIDs) {
            uids.emplace_back(uid.c_str());
        }
        return uids;
    }
    void SetDeadTime(std::int32_t deadTime) {
        auto set = ZMakeShared<ZCoreConfigParams>();
        auto system = ZMakeShared<ZSystemParams>();
        system->m_nodeManagerTimeoutSecs = deadTime;
        set->SetConfig(system);
        m_sut->SetConfigParams(set);
    }
    void Stamp(const char* manager) { Registry().UpdateLastNodeManagerContact(ZNodeUID(manager)); }
    // One monitor run, as the idle hook makes it once its interval has passed.
    void RunMonitor() {
        m_clock.Advance(milliseconds(1001));
        m_sut->OnIdle();
    }
};

TEST_F(ZNodeDiscoveryRemovalTest, RequestTakesOutExactlyTheManagersNodesAndTheirEdges) {
    RegisterManager("M");
    RegisterManager("K");
    AddNode("M", "n1", "ZRadar", "", "N1");
    AddNode("K", "x", "ZRadar", "", "X");
    AddNode("M", "n2", "ZRadar", "", "N2");
    AddNode("M", "n3", "ZRadar", "", "N3");
    Connect("N1", "N2");
    Connect("N3", "X");
    Connect("X", "K");
    Connect("K", "M");

    Remove("K", "M");

    EXPECT_EQ(GraphUIDs(), (std::vector<std::string>{"K", "X"}));
    ASSERT_EQ(Graph().m_edges.size(), 1u);
    EXPECT_EQ(Graph().m_edges[0].AsString(), "status/X/out --> control/K/in");
    ASSERT_EQ(m_nodesDisconnected.Count(), 1u);
    EXPECT_EQ(Disconnected(0), (std::vector<std::string>{"M", "N1", "N2", "N3"}));
    EXPECT_EQ(m_nodesDisconnected.Messages()[0]->GetSource().m_uid, ZNodeUID("ZNodeDiscovery1"));
    EXPECT_FALSE(RegistryKnows("M"));
    EXPECT_FALSE(RegistryKnows("N1"));
    EXPECT_TRUE(RegistryKnows("X"));
    EXPECT_EQ(Responses("K", "removenodemanager").Count(), 0u);
    EXPECT_EQ(m_topoChanged.Count(), 0u);
    EXPECT_EQ(m_log->Count("Removing node manager: UID = <M> ", LOGLEVEL_WARNING), 1u);
    EXPECT_EQ(
        m_log->Count("Publishing EP_STATUS/nodesdisconnected to interested consumers...", LOGLEVEL_PROGRESS),
        1u);
}

TEST_F(ZNodeDiscoveryRemovalTest, RequestForAnUnknownOrGraphlessManager) {
    RegisterManager("M");
    m_log->Clear();

    Remove("M", "Nobody");
    EXPECT_EQ(m_nodesDisconnected.Count(), 0u);
    EXPECT_TRUE(m_log->Records().empty());

    Registry().NewNodeManager(ZNodeUID("Ghost"), 1, SystemVersionInfo(), false);  // known, never in the graph
    Remove("M", "Ghost");
    ASSERT_EQ(m_nodesDisconnected.Count(), 1u);
    EXPECT_TRUE(Disconnected(0).empty());
    EXPECT_FALSE(RegistryKnows("Ghost"));
}

TEST_F(ZNodeDiscoveryRemovalTest, MonitorDeclaresDeadOnlyAfterMoreWholeSecondsThanTheDeadTime) {
    RegisterManager("M");
    Stamp("M");
    m_clock.Advance(milliseconds(9899));
    RunMonitor();  // silent 10.9 s: 10 is not more than 10
    EXPECT_TRUE(RegistryKnows("M"));

    m_clock.Advance(milliseconds(99));
    m_sut->OnIdle();  // only 99 ms since the last run
    EXPECT_TRUE(RegistryKnows("M"));
    RunMonitor();  // silent 12.0 s

    EXPECT_FALSE(RegistryKnows("M"));
    EXPECT_TRUE(Graph().m_nodes.empty());
    EXPECT_EQ(m_nodesDisconnected.Count(), 1u);
    ASSERT_EQ(m_topoChanged.Count(), 1u);
    EXPECT_TRUE(m_topoChanged.Messages()[0]->GetNotification());
    EXPECT_EQ(m_log->Count(
                  " - Node Manager <M> now considered dead and will be removed from topo after <12> seconds "
                  "of no contact!",
                  LOGLEVEL_WARNING),
              1u);
    EXPECT_EQ(m_log->Count("Notifying subscribers that topology has changed!", LOGLEVEL_PROGRESS), 1u);
    EXPECT_FALSE(m_sut->IsBusy());
}

TEST_F(ZNodeDiscoveryRemovalTest, OneRemovalPerRunInUidOrderAndExemptManagersAreSkipped) {
    RegisterManager("B");
    RegisterManager("A");
    RegisterManager("C");
    Registry().NewNodeManager(ZNodeUID("0-exempt"), 1, SystemVersionInfo(), true);
    SendLock("A", true);
    m_clock.Advance(seconds(30));

    RunMonitor();
    EXPECT_EQ(GraphUIDs(), (std::vector<std::string>{"B", "C"}));
    EXPECT_TRUE(m_sut->GetLockOwner().IsEmpty());  // A held it
    RunMonitor();
    RunMonitor();
    RunMonitor();

    EXPECT_TRUE(GraphUIDs().empty());
    EXPECT_EQ(m_nodesDisconnected.Count(), 3u);
    EXPECT_EQ(m_topoChanged.Count(), 3u);
    EXPECT_EQ(Disconnected(1), std::vector<std::string>{"B"});
    EXPECT_TRUE(RegistryKnows("0-exempt"));
}

TEST_F(ZNodeDiscoveryRemovalTest, DeadTimeComesFromTheConfigurationSetAndIsReadEveryRun) {
    EXPECT_EQ(m_sut->GetDeadTimeSecs(), 10);  // no configuration set
    SetDeadTime(0);
    RegisterManager("M");
    Stamp("M");
    m_clock.Advance(milliseconds(999));
    RunMonitor();  // silent 2.0 s > 0
    EXPECT_FALSE(RegistryKnows("M"));

    RegisterManager("K");
    SetDeadTime(30);
    m_clock.Advance(seconds(20));
    RunMonitor();
    EXPECT_TRUE(RegistryKnows("K"));

    SetDeadTime(-1);  // every node manager is dead at the next run, even one just stamped
    Stamp("K");
    RunMonitor();
    EXPECT_FALSE(RegistryKnows("K"));
    m_sut->SetConfigParams(ZMakeShared<ZCoreConfigParams>());  // a set without ZSystemParams
    EXPECT_EQ(m_sut->GetDeadTimeSecs(), 10);
}

TEST_F(ZNodeDiscoveryRemovalTest, NeverStampedRecordsCountAsSilentSinceTheClocksEpoch) {
    Registry().NewNodeManager(ZNodeUID("Unstamped"), 1, SystemVersionInfo(), false);

    RunMonitor();

    EXPECT_FALSE(RegistryKnows("Unstamped"));
    EXPECT_EQ(m_nodesDisconnected.Count(), 1u);
}

TEST_F(ZNodeDiscoveryRemovalTest, NotificationsOnRequestAreNewMessagesFromTheDiscoveryNode) {
    auto request = ZMakeShared<ZDiscoveryTopoChangeNotificationMsg>();
    ZMessage* requestObject = request.get();

    Send("NM1", "notifytopochanged", request);
    Send("NM1", "notifytopochanged", ZMakeShared<ZDiscoveryTopoChangeNotificationMsg>());
    Send("NM1", "notifytopochanged", ZMakeShared<ZNodesDisconnectedMsg>());

    ASSERT_EQ(m_topoChanged.Count(), 2u);
    for (const auto& notification : m_topoChanged.Messages()) {
        EXPECT_NE(notification.get(), requestObject);
        EXPECT_TRUE(notification->GetNotification());
        EXPECT_EQ(notification->GetSource().m_uid, ZNodeUID("ZNodeDiscovery1"));
    }
    EXPECT_EQ(m_log->Count("Publishing EP_STATUS/TopoChanged to interested consumers...", LOGLEVEL_PROGRESS),
              2u);
    EXPECT_EQ(m_log->Count("Error processing ZDiscoveryTopoChangeNotificationMsg message!", LOGLEVEL_ERROR),
              1u);
    EXPECT_EQ(Responses("NM1", "notifytopochanged").Count(), 0u);
}

TEST_F(ZNodeDiscoveryRemovalTest, HandlersReportWhatTheyDidToTheRuntime) {
    RegisterManager("M");
    auto remove = ZMakeShared<ZRemoveNodeManagerMsg>();
    remove->m_nodeManagerUID = ZNodeUID("M");
    auto unknown = ZMakeShared<ZRemoveNodeManagerMsg>();
    unknown->m_nodeManagerUID = ZNodeUID("Nobody");

    EXPECT_FALSE(m_sut->OnRemoveNodeManager(nullptr));
    EXPECT_FALSE(m_sut->OnRemoveNodeManager(ZMakeShared<ZDiscoveryTopoChangeNotificationMsg>()));
    EXPECT_FALSE(m_sut->OnRemoveNodeManager(unknown));
    EXPECT_TRUE(m_sut->OnRemoveNodeManager(remove));
    EXPECT_FALSE(m_sut->OnNotifyTopoChanged(ZMakeShared<ZDiscoveryTopoChangeNotificationMsg>()));
    EXPECT_FALSE(m_sut->OnNotifyTopoChanged(nullptr));
    EXPECT_TRUE(m_sut->OnLockUnlockMsg(nullptr));
    EXPECT_TRUE(m_sut->OnMonitorTopoNodes());
    m_sut->BeginShutdown();
    EXPECT_FALSE(m_sut->OnMonitorTopoNodes());
}

// The history of removals, read as operators read it: from the retained publication on
// status/ZNodeDiscovery1/removals.
class ZNodeDiscoveryHistoryTest : public ZNodeDiscoveryRemovalTest {
protected:
    // The manager asks for its own removal, as its last will does.
    void RemoveSelf(const char* manager, const char* reason = "") {
        auto message = ZMakeShared<ZRemoveNodeManagerMsg>();
        message->m_nodeManagerUID = ZNodeUID(manager);
        message->m_reason = reason;
        Send(manager, "removenodemanager", message);
    }
    // "<manager> <reason>" of every record, oldest first.
    static Strings Records(const std::shared_ptr<ZRemovalHistoryMsg>& history) {
        Strings records;
        for (const auto& record : history->m_records) {
            records.push_back(std::string(record.m_nodeManagerUID.c_str()) + " " + record.m_reason.c_str());
        }
        return records;
    }

    ZRecordingSubscriber m_history{m_pClients, Status("removals")};
};

TEST_F(ZNodeDiscoveryHistoryTest, EveryKindOfRemovalIsRecordedWithItsReasonAfterAllElseItsHandlerDoes) {
    Strings arrivals;  // what the discovery node publishes, in order
    const auto follow = [&](const ZCommEndpoint& endpoint) {
        m_pClients->Subscribe(endpoint,
                              [&arrivals](const ZCommEndpoint& at, const std::shared_ptr<ZMessage>&) {
                                  arrivals.emplace_back(at.m_name.c_str());
                              });
    };
    for (const char* name : {"nodesdisconnected", "topochanged", "removals"}) {
        follow(Status(name));
    }
    RegisterManager("Silent");
    m_clock.Advance(seconds(12));
    RegisterManager("Asked");  // the idle hook after it finds Silent silent
    RegisterManager("Lost");
    RegisterManager("Renewed");
    follow(ZCommEndpoint(ZNodeUID("Renewed"), EP_RESPONSE, "addnodemanager"));

    RemoveSelf("Asked");
    RemoveSelf("Lost", "connection lost");
    Send("Renewed", "addnodemanager", Registration("Renewed", 2));

    ASSERT_EQ(m_history.Count(), 4u);
    const auto history = m_history.Last<ZRemovalHistoryMsg>();
    EXPECT_EQ(Records(history),
              (Strings{"Silent silence", "Asked request", "Lost connection lost", "Renewed new session"}));
    EXPECT_GT(history->m_records.front().m_timeUs, 0);
    EXPECT_TRUE(history->GetRetained());
    EXPECT_EQ(arrivals,
              (Strings{"nodesdisconnected", "topochanged", "removals", "nodesdisconnected", "removals",
                       "nodesdisconnected", "removals", "nodesdisconnected", "addnodemanager", "removals"}));
    ZRecordingSubscriber late(m_pClients, Status("removals"));
    EXPECT_EQ(Records(late.Last<ZRemovalHistoryMsg>()), Records(history));
}

TEST_F(ZNodeDiscoveryHistoryTest, OnlyTheLatestRemovalsAreKept) {
    const std::size_t removals = ZRemovalHistoryMsg::kMaxRecords + 2;
    for (std::size_t i = 0; i < removals; ++i) {
        const std::string manager = "NM" + std::to_string(i);
        RegisterManager(manager.c_str());
        RemoveSelf(manager.c_str());
    }

    const Strings records = Records(m_history.Last<ZRemovalHistoryMsg>());
    ASSERT_EQ(records.size(), ZRemovalHistoryMsg::kMaxRecords);
    EXPECT_EQ(records.front(), "NM2 request");
    EXPECT_EQ(records.back(), "NM" + std::to_string(removals - 1) + " request");
}

}  // namespace
