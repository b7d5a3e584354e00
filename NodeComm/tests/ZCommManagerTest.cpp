#include "NodeComm/ZCommManager.h"
#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "ZShared/ZMakeShared.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ZTestKit/ZCapturingLogSink.h"
#include "ZTestKit/ZManualClock.h"

namespace {

ZNodeUID Uid(const char* text) {
    return ZNodeUID(text);
}

SystemVersionInfo Versions(const char* system) {
    SystemVersionInfo info;
    info.m_systemVersion = system;
    info.m_buildInfo = "build";
    return info;
}

class ZCommManagerTest : public ::testing::Test {
protected:
    // Every node manager with a record maps to itself; every mapping names a node manager or node.
    void ExpectInvariants() {
        std::lock_guard<std::mutex> statsLock(m_sut.m_statsMutex);
        std::lock_guard<std::mutex> mapLock(m_sut.m_nodeToManagerMutex);
        for (const auto& [manager, stats] : m_sut.m_nodeManagerStats) {
            const auto self = m_sut.m_nodeToManager.find(manager);
            ASSERT_NE(self, m_sut.m_nodeToManager.end()) << manager.c_str();
            EXPECT_EQ(self->second, manager);
            EXPECT_NE(stats, nullptr);
        }
    }
    std::shared_ptr<ZCommManager::CommStats> Record(const char* uid) {
        std::lock_guard<std::mutex> lock(m_sut.m_statsMutex);
        const auto found = m_sut.m_nodeManagerStats.find(Uid(uid));
        return found == m_sut.m_nodeManagerStats.end() ? nullptr : found->second;
    }
    std::size_t Mappings() {
        std::lock_guard<std::mutex> lock(m_sut.m_nodeToManagerMutex);
        return m_sut.m_nodeToManager.size();
    }

    ZManualClock m_clock;
    ZCommManager m_sut;
};

TEST_F(ZCommManagerTest, NewNodeManagerCreatesOneRecordAndKeepsTheFirst) {
    m_sut.NewNodeManager(Uid("M"), 5, Versions("1.0"), true);
    m_sut.NewNodeManager(Uid("M"), 6, Versions("2.0"), false);

    auto record = Record("M");
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->m_sessionID, 5u);
    EXPECT_EQ(record->m_versionInfo.m_systemVersion, "1.0");
    EXPECT_TRUE(record->m_bExempt);
    EXPECT_FALSE(record->m_bRegistered);
    EXPECT_TRUE(m_sut.m_bChanged);
    EXPECT_EQ(m_sut.NodeManagerCount(), 1u);
    ExpectInvariants();
}

TEST_F(ZCommManagerTest, SessionsOfKnownAndUnknownNodeManagers) {
    ZScopedLogCapture capture;
    m_sut.NewNodeManager(Uid("M"), 5, Versions("x"), false);

    m_sut.SetSessionID(Uid("M"), 6);
    m_sut.SetSessionID(Uid("unknown"), 9);

    EXPECT_EQ(m_sut.GetSessionID(Uid("M")), 6u);
    EXPECT_EQ(m_sut.GetSessionID(Uid("unknown")), 0xFFFFFFFFu);
    EXPECT_EQ(capture->Count("Assertion failed in <NodeComm/ZCommManager>", LOGLEVEL_ERROR), 1u);
    EXPECT_EQ(capture->Records().size(), 1u);
}

TEST_F(ZCommManagerTest, EmptyNodeManagerUIDIsLoggedAndStoredAnyway) {
    ZScopedLogCapture capture;

    m_sut.NewNodeManager(ZNodeUID(), 1, Versions("x"), false);
    m_sut.RegisterNewNodeAndManager(ZNodeUID(), 1, Uid("N"), false);

    EXPECT_EQ(capture->Count("Assertion failed", LOGLEVEL_ERROR), 3u);
    EXPECT_NE(Record(""), nullptr);
    ExpectInvariants();
}

// Transport threads stamp and register while the topology side removes node managers: the tables
// must stay consistent, and the thread sanitizer must see no race.
TEST_F(ZCommManagerTest, StaysConsistentUnderConcurrentUse) {
    constexpr int kManagers = 8;
    std::atomic<bool> stop{false};
    std::vector<std::thread> workers;
    for (int t = 0; t < 2; ++t) {
        workers.emplace_back([this, t, &stop] {
            for (int i = 0; !stop; ++i) {
                const ZNodeUID manager("M", i % kManagers);
                m_sut.RegisterNewNodeAndManager(manager, 1, ZNodeUID("N" + std::to_string(t) + "-", i),
                                                false);
                m_sut.UpdateLastNodeManagerContact(manager);
                m_sut.GetSessionID(manager);
            }
        });
    }
    for (int round = 0; round < 300; ++round) {
        const ZNodeUID manager("M", round % kManagers);
        m_sut.RemoveNodeManagerUID(manager);
        m_sut.NewNodeManager(manager, 2, Versions("x"), false);
        m_sut.SetSessionID(manager, 3);
    }
    stop = true;
    for (auto& worker : workers) {
        worker.join();
    }

    for (int i = 0; i < kManagers; ++i) {
        m_sut.RemoveNodeManagerUID(ZNodeUID("M", i));
    }
    EXPECT_EQ(Mappings(), 0u);
    EXPECT_EQ(m_sut.NodeManagerCount(), 0u);
}

// Stamped by the transport as it delivers, with the steady clock; strangers get no record.
TEST(ZCommManagerContactTest, AnyMessageFromAManagerOrItsNodesStampsItsContact) {
    ZManualClock clock;
    auto bus = std::make_shared<ZLocalBus>();
    auto receiver = std::make_shared<ZNodeCommLocal>(bus);
    auto sender = std::make_shared<ZNodeCommLocal>(bus);
    ZCommManager& sut = *receiver->GetCommManager();
    sut.RegisterNewNodeAndManager(ZNodeUID("M"), 1, ZNodeUID("Radar1"), false);
    const ZCommEndpoint inbox(ZNodeUID("R"), EP_CONTROL, "anything");
    receiver->Subscribe(inbox, [](const ZCommEndpoint&, const std::shared_ptr<ZMessage>&) {});
    clock.Advance(std::chrono::seconds(7));
    auto fromNode = ZMakeShared<ZMessage>();
    fromNode->SetSource(ZCommEndpoint(ZNodeUID("Radar1"), EP_CONTROL, "anything"));
    auto fromStranger = ZMakeShared<ZMessage>();
    fromStranger->SetSource(ZCommEndpoint(ZNodeUID("Stranger"), EP_CONTROL, "anything"));

    sender->Publish(inbox, fromStranger);
    sender->Publish(inbox, fromNode);

    std::lock_guard<std::mutex> lock(sut.m_statsMutex);
    EXPECT_EQ(sut.m_nodeManagerStats.at(ZNodeUID("M"))->m_lastContact, clock.Now());
    EXPECT_EQ(sut.m_nodeManagerStats.size(), 1u);
}

}  // namespace
