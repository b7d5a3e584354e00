#include <gtest/gtest.h>

#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "ZDiscoveryFixture.h"
#include "ZMessages/ZGenericResponseMsg.h"

namespace {

// Node managers M (nodes A, B) and N (node C), the lock free.
class ZNodeDiscoveryLockTest : public ZDiscoveryFixture {
protected:
    void SetUp() override {
        ZDiscoveryFixture::SetUp();
        RegisterManager("M");
        RegisterManager("N");
        AddNode("M", "a", "ZRadar", "", "A");
        AddNode("M", "b", "ZRadar", "", "B");
        AddNode("N", "c", "ZAntenna", "", "C");
        m_log->Clear();
    }
    std::shared_ptr<ZGenericResponseMsg> Answer(const char* from) {
        return LastResponse<ZGenericResponseMsg>(from, "locking");
    }
};

TEST_F(ZNodeDiscoveryLockTest, IsHeldByTheNodeManagerSoAnyOfItsNodesMayRelease) {
    SendLock("A", true);
    EXPECT_EQ(m_sut->GetLockOwner(), ZNodeUID("M"));
    EXPECT_EQ(Answer("A")->m_text, "Lock");
    EXPECT_TRUE(Answer("A")->m_bSuccess);

    SendLock("B", true);  // the same node manager again: granted, nothing changes
    EXPECT_TRUE(Answer("B")->m_bSuccess);

    SendLock("B", false);
    EXPECT_TRUE(m_sut->GetLockOwner().IsEmpty());
    EXPECT_EQ(Answer("B")->m_text, "Unlock");
    EXPECT_TRUE(Answer("B")->m_bSuccess);
    EXPECT_EQ(Answer("B")->m_errCode, ZFrameworkErrorCodes::ERRCODE_NONE);
    EXPECT_EQ(m_log->Texts(),
              (std::vector<std::string>{"Locked by <M>", "Locked by <M>", "Unlocked by <M>"}));
}

TEST_F(ZNodeDiscoveryLockTest, OtherNodeManagersAreDeniedBothWays) {
    SendLock("A", true);

    SendLock("C", true);
    SendLock("C", false);

    EXPECT_EQ(m_sut->GetLockOwner(), ZNodeUID("M"));
    EXPECT_FALSE(Responses("C", "locking").Last<ZGenericResponseMsg>()->m_bSuccess);
    EXPECT_EQ(Responses("C", "locking").Count(), 2u);
    EXPECT_EQ(m_log->Count("Lock denied <N>, <M> still has the lock!", LOGLEVEL_PROGRESS), 1u);
    EXPECT_EQ(m_log->Count("Unlock denied <N>", LOGLEVEL_ERROR), 1u);
}

TEST_F(ZNodeDiscoveryLockTest, UnknownSendersAndAFreeLock) {
    SendLock("C", false);  // nothing held, C's manager holds nothing
    EXPECT_FALSE(Answer("C")->m_bSuccess);
    EXPECT_EQ(m_log->Count("Unlock denied <N>", LOGLEVEL_ERROR), 1u);

    SendLock("Stranger", false);  // no manager and no owner: the empty UIDs agree
    EXPECT_TRUE(Answer("Stranger")->m_bSuccess);
    EXPECT_EQ(m_log->Count("Unlocked by <>"), 1u);

    SendLock("Stranger", true);  // granted to nobody: the lock stays free
    EXPECT_TRUE(Answer("Stranger")->m_bSuccess);
    EXPECT_EQ(m_log->Count("Locked by <>"), 1u);
    SendLock("C", true);
    EXPECT_EQ(m_sut->GetLockOwner(), ZNodeUID("N"));
}

TEST_F(ZNodeDiscoveryLockTest, AnswersOnlyWhenAskedAndIgnoresOtherClasses) {
    SendLock("A", true, false);
    EXPECT_EQ(m_sut->GetLockOwner(), ZNodeUID("M"));
    EXPECT_EQ(Responses("A", "locking").Count(), 0u);

    Send("C", "locking", ZMakeShared<ZGenericResponseMsg>());
    EXPECT_EQ(Responses("C", "locking").Count(), 0u);
    EXPECT_EQ(m_sut->GetLockOwner(), ZNodeUID("M"));
}

TEST_F(ZNodeDiscoveryLockTest, RemovingTheHolderFreesTheLockAndOnlyThen) {
    SendLock("A", true);
    auto removeN = ZMakeShared<ZRemoveNodeManagerMsg>();
    removeN->m_nodeManagerUID = ZNodeUID("N");
    Send("N", "removenodemanager", removeN);
    EXPECT_EQ(m_sut->GetLockOwner(), ZNodeUID("M"));

    auto removeM = ZMakeShared<ZRemoveNodeManagerMsg>();
    removeM->m_nodeManagerUID = ZNodeUID("M");
    Send("M", "removenodemanager", removeM);
    EXPECT_TRUE(m_sut->GetLockOwner().IsEmpty());

    RegisterManager("K");
    AddNode("K", "k", "ZRadar", "", "KNode");
    SendLock("KNode", true);
    EXPECT_EQ(m_sut->GetLockOwner(), ZNodeUID("K"));
}

}  // namespace
