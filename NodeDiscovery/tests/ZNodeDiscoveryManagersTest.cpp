// "getnodemanagers" as an operator's tool uses it: registrations and locks in, the answer on the
// asker's response endpoint out, time moved by the manual clock.
#include <gtest/gtest.h>

#include "NodeBase/ZDiscoveryFindNodeMsg.h"
#include "NodeBase/ZDiscoveryGetNodeManagersMsg.h"
#include "NodeBase/ZDiscoveryNodeManagersMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "ZDiscoveryFixture.h"

namespace {

using namespace std::chrono_literals;

class ZNodeDiscoveryManagersTest : public ZDiscoveryFixture {
protected:
    static std::shared_ptr<ZDiscoveryManagerMsg> Described(const char* uid, std::uint32_t session,
                                                           std::int64_t startID = 0) {
        auto registration = Registration(uid, session, "Deck");
        registration->m_hostName = "mast";
        registration->m_processID = 4242;
        registration->m_versionInfo.m_frameworkVersion = "2.151";
        registration->m_versionInfo.m_osVersion = "Linux 6.1";
        registration->m_startID = startID;
        return registration;
    }
    void Register(std::shared_ptr<ZDiscoveryManagerMsg> registration) {
        const std::string uid = registration->m_nodeManagerUID.c_str();
        Send(uid.c_str(), "addnodemanager", std::move(registration));
        SendLock(uid.c_str(), false, false);
    }
    std::shared_ptr<ZDiscoveryNodeManagersMsg> Ask() {
        auto& answers = Responses("ops", "getnodemanagers");
        const std::size_t before = answers.Count();
        Send("ops", "getnodemanagers", ZMakeShared<ZDiscoveryGetNodeManagersMsg>());
        return answers.Count() == before ? nullptr : answers.Last<ZDiscoveryNodeManagersMsg>();
    }
    static std::vector<std::string> UIDs(const ZDiscoveryNodeManagersMsg& answer) {
        std::vector<std::string> uids;
        for (const auto& record : answer.m_nodeManagers) {
            uids.emplace_back(record.m_nodeManagerUID.c_str());
        }
        return uids;
    }
};

TEST_F(ZNodeDiscoveryManagersTest, ListsEveryRegisteredNodeManagerWithWhatItsRegistrationSaid) {
    auto empty = Ask();
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->m_nodeManagers.empty());
    EXPECT_EQ(empty->m_deadTimeSecs, 10);
    EXPECT_GT(empty->m_timeUs, 0);

    Register(Described("Sonar-NM", 9, 77));
    RegisterManager("Bridge-NM", 3, "Bridge");
    const auto answer = Ask();

    ASSERT_TRUE(answer);
    EXPECT_EQ(UIDs(*answer), (std::vector<std::string>{"Bridge-NM", "Sonar-NM"}));
    const ZNodeManagerRecord* sonar = answer->Find(ZNodeUID("Sonar-NM"));
    ASSERT_NE(sonar, nullptr);
    EXPECT_EQ(sonar->m_group, "Deck");
    EXPECT_EQ(sonar->m_hostName, "mast");
    EXPECT_EQ(sonar->m_processID, 4242);
    EXPECT_EQ(sonar->m_versionInfo.m_frameworkVersion, "2.151");
    EXPECT_EQ(sonar->m_versionInfo.m_osVersion, "Linux 6.1");
    EXPECT_EQ(sonar->m_sessionID, 9u);
    EXPECT_EQ(sonar->m_startID, 77);
    EXPECT_GT(sonar->m_registeredTimeUs, 0);
    EXPECT_FALSE(sonar->m_bExempt);
    EXPECT_EQ(answer->Find(ZNodeUID("Bridge-NM"))->m_group, "Bridge");
    EXPECT_TRUE(answer->m_lockHolderUID.IsEmpty());
    EXPECT_EQ(answer->m_lockedForMs, 0);
    // Only the operator asked: nothing went to the node managers.
    EXPECT_EQ(Responses("Sonar-NM", "getnodemanagers").Count(), 0u);
}

TEST_F(ZNodeDiscoveryManagersTest, AgeSilenceAndDeadTimeLeftFollowTheSteadyClock) {
    Register(Described("Sonar-NM", 9));
    m_clock.Advance(1500ms);
    RegisterManager("Bridge-NM");
    m_clock.Advance(2500ms);
    // Any message from a node manager is contact.
    auto signOfLife = ZMakeShared<ZDiscoveryFindNodeMsg>();
    signOfLife->m_nodeUID = "Bridge-NM";
    Send("Bridge-NM", "findnode", signOfLife);
    m_clock.Advance(1000ms);

    auto answer = Ask();
    ASSERT_TRUE(answer);
    const ZNodeManagerRecord& sonar = *answer->Find(ZNodeUID("Sonar-NM"));
    EXPECT_EQ(sonar.m_ageMs, 5000);
    EXPECT_EQ(sonar.m_silentMs, 5000);
    EXPECT_EQ(sonar.m_deadTimeLeftMs, 5000);
    const ZNodeManagerRecord& bridge = *answer->Find(ZNodeUID("Bridge-NM"));
    EXPECT_EQ(bridge.m_ageMs, 3500);
    EXPECT_EQ(bridge.m_silentMs, 1000);
    EXPECT_EQ(bridge.m_deadTimeLeftMs, 9000);

    // Past the dead time, and before the monitor's next run, nothing is left.
    m_clock.Advance(5500ms);
    answer = Ask();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->Find(ZNodeUID("Sonar-NM"))->m_deadTimeLeftMs, 0);
    EXPECT_EQ(answer->Find(ZNodeUID("Sonar-NM"))->m_silentMs, 10500);
}

TEST_F(ZNodeDiscoveryManagersTest, ASessionKeepsItsRegistrationTimeAndANewSessionStartsAfresh) {
    Register(Described("Sonar-NM", 9));
    m_clock.Advance(4s);
    // The same session checking that it is still registered, as after a reconnection.
    auto check = Described("Sonar-NM", 9);
    check->SetDeliveryInfo(1);
    Register(check);
    auto answer = Ask();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->Find(ZNodeUID("Sonar-NM"))->m_ageMs, 4000);
    EXPECT_EQ(answer->Find(ZNodeUID("Sonar-NM"))->m_silentMs, 0);

    auto restarted = Described("Sonar-NM", 10);
    restarted->m_processID = 5151;
    restarted->m_versionInfo.m_frameworkVersion = "2.152";
    Register(restarted);
    answer = Ask();
    ASSERT_TRUE(answer);
    const ZNodeManagerRecord& sonar = *answer->Find(ZNodeUID("Sonar-NM"));
    EXPECT_EQ(sonar.m_ageMs, 0);
    EXPECT_EQ(sonar.m_sessionID, 10u);
    EXPECT_EQ(sonar.m_processID, 5151);
    EXPECT_EQ(sonar.m_versionInfo.m_frameworkVersion, "2.152");
}

TEST_F(ZNodeDiscoveryManagersTest, NamesTheLockHolderAndSinceWhen) {
    RegisterManager("Bridge-NM");
    RegisterManager("Sonar-NM");
    AddNode("Sonar-NM", "ping", "ZSonar", "", "Sonar1");

    SendLock("Sonar1", true);
    m_clock.Advance(3s);
    SendLock("Sonar-NM", true);  // held already: the lock keeps its time
    m_clock.Advance(1s);
    auto answer = Ask();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->m_lockHolderUID, ZNodeUID("Sonar-NM"));
    EXPECT_EQ(answer->m_lockedForMs, 4000);
    EXPECT_GT(answer->m_lockedSinceTimeUs, 0);

    SendLock("Sonar1", false);
    answer = Ask();
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->m_lockHolderUID.IsEmpty());
    EXPECT_EQ(answer->m_lockedSinceTimeUs, 0);
    EXPECT_EQ(answer->m_lockedForMs, 0);

    // A registration holds the lock until its unlock.
    m_clock.Advance(2s);
    Send("Radar-NM", "addnodemanager", Registration("Radar-NM", 1));
    m_clock.Advance(250ms);
    answer = Ask();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->m_lockHolderUID, ZNodeUID("Radar-NM"));
    EXPECT_EQ(answer->m_lockedForMs, 250);
}

TEST_F(ZNodeDiscoveryManagersTest, RemovedNodeManagersLeaveTheListAndOtherClassesAreNotAnswered) {
    RegisterManager("Bridge-NM");
    Register(Described("Sonar-NM", 9));
    auto removal = ZMakeShared<ZRemoveNodeManagerMsg>();
    removal->m_nodeManagerUID = ZNodeUID("Sonar-NM");
    Send("Sonar-NM", "removenodemanager", removal);
    auto answer = Ask();
    ASSERT_TRUE(answer);
    EXPECT_EQ(UIDs(*answer), std::vector<std::string>{"Bridge-NM"});

    // Silent past the dead time: the monitor removes it, and the list follows.
    m_clock.Advance(12s);
    m_sut->OnIdle();
    answer = Ask();
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->m_nodeManagers.empty());

    Send("ops", "getnodemanagers", ZMakeShared<ZDiscoveryFindNodeMsg>());
    EXPECT_EQ(Responses("ops", "getnodemanagers").Count(), 2u);
}

}  // namespace
