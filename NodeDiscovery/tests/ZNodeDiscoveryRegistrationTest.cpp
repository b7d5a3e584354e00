#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "ZCoreConfigs/ZCommsParams.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZDiscoveryFixture.h"
#include "ZShared/ZPlatform.h"

namespace {

using Lines = std::vector<std::string>;

class ZNodeDiscoveryRegistrationTest : public ZDiscoveryFixture {
protected:
    // "<m_bRegistered> <m_bAlreadyRegistered> <m_nodeManagerUID>" of the last answer to the manager.
    std::string Answer(const char* manager) {
        auto answer = LastResponse<ZDiscoveryManagerMsg>(manager, "addnodemanager");
        if (!answer) {
            return "none";
        }
        return std::string(answer->m_bRegistered ? "registered " : "refused ") +
               (answer->m_bAlreadyRegistered ? "already " : "new ") + answer->m_nodeManagerUID.c_str();
    }
    std::size_t Answers(const char* manager) { return Responses(manager, "addnodemanager").Count(); }
    ZCommManager::CommStats& Record(const char* manager) {
        return *Registry().m_nodeManagerStats.at(ZNodeUID(manager));
    }
    void SyncTime(bool on) {
        auto set = ZMakeShared<ZCoreConfigParams>();
        auto comms = ZMakeShared<ZCommsParams>();
        comms->bSyncTime = on;
        set->SetConfig(comms);
        m_sut->SetConfigParams(set);
    }
};

// Records what the device clock is set to; the real setter is back when the test ends.
struct ZClockRecorder {
    explicit ZClockRecorder(bool succeed) {
        ZPlatform::SetHardwareClockSetter([this, succeed](std::int64_t secs) {
            m_settings.push_back(secs);
            return succeed;
        });
    }
    ~ZClockRecorder() { ZPlatform::SetHardwareClockSetter({}); }
    std::vector<std::int64_t> m_settings;
};

TEST_F(ZNodeDiscoveryRegistrationTest, FirstRegistrationRecordsTheManagerLocksAndAnswersWithTheMaster) {
    m_clock.Advance(std::chrono::seconds(3));
    auto request = Registration("M", 5, "Cart");
    request->m_bAlreadyRegistered = true;
    m_log->Clear();

    Send("M", "addnodemanager", request);

    ASSERT_EQ(GraphUIDs(), Lines{"M"});
    EXPECT_EQ(Graph().m_nodes[0].AsString(), "Cart.ZNodeManager.M(M)");
    EXPECT_EQ(Graph().m_nodes[0].m_nodeManagerUID, ZNodeUID("M"));
    EXPECT_TRUE(RegistryKnows("M"));
    EXPECT_EQ(Record("M").m_sessionID, 5u);
    EXPECT_TRUE(Record("M").m_bRegistered);
    EXPECT_EQ(Record("M").m_lastContact, ZPlatform::SteadyNow());
    EXPECT_EQ(m_sut->GetLockOwner(), ZNodeUID("M"));
    EXPECT_EQ(Answers("M"), 1u);
    EXPECT_EQ(Answer("M"), "registered new Master");
    EXPECT_EQ(DiscoveryLog(),
              (Lines{"2 Locked by <M>",
                     "2 Registering new node manager: UID = <M>, SessionID = <5>, Group = <Cart>...",
                     "2 Added node manager <M> to map - contains <1> items..."}));
    EXPECT_EQ(m_nodesDisconnected.Count() + m_topoChanged.Count(), 0u);
}

TEST_F(ZNodeDiscoveryRegistrationTest, SameSessionAgainIsAnsweredOnlyForARepeatedDelivery) {
    RegisterManager("M", 5);
    auto repeated = Registration("M", 5);
    repeated->SetDeliveryInfo(2);
    m_log->Clear();

    Send("M", "addnodemanager", Registration("M", 5));

    EXPECT_EQ(Answers("M"), 1u);
    EXPECT_TRUE(m_sut->GetLockOwner().IsEmpty());
    EXPECT_EQ(DiscoveryLog(),
              (Lines{"2 Locked by <M>",
                     "2 Node manager already has same session in graph: UID = <M>, SessionID = <5>"}));

    Send("M", "addnodemanager", repeated);

    EXPECT_EQ(Answers("M"), 2u);
    EXPECT_EQ(Answer("M"), "registered already Master");
    EXPECT_TRUE(m_sut->GetLockOwner().IsEmpty());
    EXPECT_EQ(GraphUIDs(), Lines{"M"});
    EXPECT_EQ(m_log->Count("Registering new node manager: UID = <M>, SessionID = <5>", LOGLEVEL_PROGRESS),
              1u);
}

TEST_F(ZNodeDiscoveryRegistrationTest, NewSessionReplacesTheOldInstanceAndKeepsTheLock) {
    RegisterManager("M", 5);
    RegisterManager("K", 1);
    AddNode("M", "radar", "ZRadar", "", "R");
    AddNode("K", "display", "ZDisplay", "", "D");
    AddNode("M", "antenna", "ZAntenna", "", "A");
    Connect("R", "A");
    Connect("A", "D");
    Connect("D", "K");
    auto restart = Registration("M", 6);
    restart->m_bAlreadyRegistered = true;

    Send("M", "addnodemanager", restart);

    EXPECT_EQ(m_log->Count("Node manager has old session in graph, will remove old instance: UID = <M> Old "
                           "SessionID = <5>, New SessionID = <6>",
                           LOGLEVEL_WARNING),
              1u);
    EXPECT_EQ(GraphUIDs(), (Lines{"K", "D", "M"}));
    ASSERT_EQ(Graph().m_edges.size(), 1u);
    EXPECT_EQ(Graph().m_edges[0].AsString(), "status/D/out --> control/K/in");
    EXPECT_EQ(m_nodesDisconnected.Count(), 1u);
    EXPECT_EQ(DisconnectedUIDs(0), (Lines{"M", "R", "A"}));
    EXPECT_EQ(Record("M").m_sessionID, 6u);
    EXPECT_TRUE(RegistryKnows("R"));
    EXPECT_EQ(m_sut->GetLockOwner(), ZNodeUID("M"));
    EXPECT_EQ(Answer("M"), "registered new Master");
}

TEST_F(ZNodeDiscoveryRegistrationTest, LockHeldByAnotherManagerTurnsTheRegistrationAway) {
    Send("K", "addnodemanager", Registration("K", 1));
    auto request = Registration("M", 2);
    request->m_bRegistered = true;
    m_log->Clear();

    Send("M", "addnodemanager", request);

    EXPECT_EQ(DiscoveryLog(), Lines{"2 Lock denied <M>, <K> still has the lock!"});
    EXPECT_EQ(Answer("M"), "refused new Master");
    EXPECT_EQ(GraphUIDs(), Lines{"K"});
    EXPECT_FALSE(RegistryKnows("M"));
    EXPECT_EQ(Registry().NodeManagerCount(), 1u);
    EXPECT_EQ(m_sut->GetLockOwner(), ZNodeUID("K"));
}

TEST_F(ZNodeDiscoveryRegistrationTest, EmptyUidRegistersNothingAndAKnownNodeUidKeepsItsRecord) {
    RegisterManager("M");
    AddNode("M", "radar", "ZRadar", "Cart", "R");

    Send("X", "addnodemanager", Registration("", 1));
    Send("R", "addnodemanager", Registration("R", 3, "Probe"));

    EXPECT_EQ(Answer("X"), "refused new Master");
    EXPECT_EQ(Answer("R"), "registered new Master");
    EXPECT_EQ(GraphUIDs(), (Lines{"M", "R"}));
    EXPECT_EQ(Graph().m_nodes[1].AsString(), "Cart.ZRadar.radar(R)");
    EXPECT_EQ(Graph().m_nodes[1].m_nodeManagerUID, ZNodeUID("M"));
    EXPECT_TRUE(Record("R").m_bRegistered);
    EXPECT_EQ(Registry().NodeManagerCount(), 2u);
}

TEST_F(ZNodeDiscoveryRegistrationTest, OtherClassesAreIgnoredSilently) {
    m_log->Clear();

    EXPECT_FALSE(m_sut->OnAddNodeManager(From("M", "addnodemanager", ZMakeShared<ZDiscoveryRequestMsg>())));
    EXPECT_FALSE(m_sut->OnAddNodeManager(nullptr));

    EXPECT_EQ(m_log->Texts(), Lines{});
    EXPECT_EQ(Answers("M"), 0u);
}

TEST_F(ZNodeDiscoveryRegistrationTest, SyncedClockGetsWholeSecondsEvenWhenTheLockIsRefused) {
    const std::string zone = std::getenv("TZ") != nullptr ? std::getenv("TZ") : "";
    setenv("TZ", "UTC", 1);
    tzset();
    ZClockRecorder clock(true);
    SyncTime(true);
    auto first = Registration("M", 1);
    first->m_remoteTimeUs = 1700000000000042;
    auto beforeEpoch = Registration("K", 1);
    beforeEpoch->m_remoteTimeUs = -1500000;

    Send("M", "addnodemanager", first);
    Send("K", "addnodemanager", beforeEpoch);

    EXPECT_EQ(clock.m_settings, (std::vector<std::int64_t>{1700000000, -1}));
    EXPECT_EQ(
        m_log->Count("Syncronized clock to remote time (2023-11-14T22:13:20.000042Z)", LOGLEVEL_PROGRESS),
        1u);
    EXPECT_EQ(Answer("K"), "refused new Master");
    zone.empty() ? unsetenv("TZ") : setenv("TZ", zone.c_str(), 1);
    tzset();
}

TEST_F(ZNodeDiscoveryRegistrationTest, FailedClockSettingIsLoggedAndRegistrationGoesOn) {
    ZClockRecorder clock(false);
    SyncTime(true);
    auto request = Registration("M", 1);
    request->m_remoteTimeUs = 2000000;

    Send("M", "addnodemanager", request);
    SyncTime(false);
    Send("K", "addnodemanager", Registration("K", 1));

    EXPECT_EQ(clock.m_settings, (std::vector<std::int64_t>{2}));
    EXPECT_EQ(m_log->Count("Failed to syncronize time to remote!", LOGLEVEL_ERROR), 1u);
    EXPECT_EQ(m_log->Count("yncronize"), 1u);
    EXPECT_EQ(Answer("M"), "registered new Master");
}

}  // namespace
