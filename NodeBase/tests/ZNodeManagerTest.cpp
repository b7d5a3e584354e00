#include "NodeBase/ZNodeManager.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZMakeShared.h"
#include "ZTestKit/ZCapturingLogSink.h"
#include "ZTestKit/ZManualClock.h"
#include "ZTestKit/ZRecordingSubscriber.h"

namespace {

using std::chrono::milliseconds;

// A node the managers in these tests host by class name.
class ZHostedTestNode : public ZNode {
    Z_FACTORY_CLASS(ZHostedTestNode)

public:
    using ZNode::ZNode;
    ~ZHostedTestNode() override { StopAction(true); }
};

const bool g_registered = [] {
    ZClassRegistration<ZHostedTestNode>::Register("ZNode");
    return true;
}();

ZCommEndpoint Control(const char* name) {
    return ZCommEndpoint(ZNodeUID("ZNodeDiscovery1"), EP_CONTROL, name);
}

// A node manager alone on a private bus: nobody answers it.
class ZNodeManagerTest : public ::testing::Test {
protected:
    ZNodeManagerTest()
        : m_pBus(std::make_shared<ZLocalBus>()),
          m_pComm(std::make_shared<ZNodeCommLocal>(m_pBus)),
          m_registrations(m_pComm, Control("addnodemanager")),
          m_removals(m_pComm, Control("removenodemanager")) {}

    std::shared_ptr<ZNodeManagerConfig> Config(std::int32_t deadTime = 10) {
        auto config = ZMakeShared<ZNodeManagerConfig>();
        config->m_uid = ZNodeUID("M");
        config->m_group = "G";
        ZNodeManagerConfig::ZHostedNode numbered;
        numbered.m_className = "ZHostedTestNode";
        numbered.m_name = "numbered";
        ZNodeManagerConfig::ZHostedNode fixed;
        fixed.m_className = "ZHostedTestNode";
        fixed.m_name = "fixed";
        fixed.m_uid = ZNodeUID("Fixed1");
        fixed.m_pConfig = ZMakeShared<ZCoreConfigParams>();
        config->m_nodes = {numbered, fixed};
        auto set = ZMakeShared<ZCoreConfigParams>();
        auto system = ZMakeShared<ZSystemParams>();
        system->m_nodeManagerTimeoutSecs = deadTime;
        set->SetConfig(system);
        config->m_pConfig = set;
        return config;
    }
    std::shared_ptr<ZNodeManager> Started() {
        auto manager = ZMakeShared<ZNodeManager>("M");
        manager->m_logLevel = LOGLEVEL_DETAIL;
        m_pConfig = Config();
        EXPECT_TRUE(manager->Load(m_pConfig));
        EXPECT_TRUE(manager->StartManual(m_pComm));
        return manager;
    }
    // Lets the clock run in small steps, idling the manager after each.
    void RunFor(ZNodeManager& manager, milliseconds duration) {
        for (milliseconds step(0); step < duration; step += milliseconds(250)) {
            m_clock.Advance(milliseconds(250));
            manager.PumpUntilIdle();
        }
    }

    ZManualClock m_clock;
    ZScopedLogCapture m_log;
    std::shared_ptr<ZNodeManagerConfig> m_pConfig;
    std::shared_ptr<ZLocalBus> m_pBus;
    std::shared_ptr<ZNodeCommLocal> m_pComm;
    ZRecordingSubscriber m_registrations;
    ZRecordingSubscriber m_removals;
};

TEST_F(ZNodeManagerTest, HostedNodesStartOnItsTransportBeforeItAsksToRegister) {
    auto sut = Started();

    const auto nodes = sut->GetHostedNodes();
    ASSERT_EQ(nodes.size(), 2u);
    EXPECT_EQ(nodes[0]->GetUID(), ZNodeUID("numbered"));  // its instance name until numbered
    EXPECT_EQ(nodes[1]->GetUID(), ZNodeUID("Fixed1"));
    EXPECT_EQ(nodes[0]->GetComm(), m_pComm);
    EXPECT_EQ(nodes[1]->GetConfigParams(), m_pConfig->m_nodes[1].m_pConfig);
    EXPECT_EQ(nodes[0]->GetConfigParams(), nullptr);
    EXPECT_TRUE(nodes[0]->GetMasterNodeManagerUID().IsEmpty());
    EXPECT_EQ(sut->GetUID(), ZNodeUID("M"));
    EXPECT_EQ(sut->GetState(), NMSTATE_REGISTERING);
    ASSERT_EQ(m_registrations.Count(), 1u);
    const auto request = m_registrations.Last<ZDiscoveryManagerMsg>();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->m_nodeManagerUID, ZNodeUID("M"));
    EXPECT_EQ(request->m_group, "G");
    EXPECT_EQ(request->m_versionInfo.m_frameworkVersion, "2.151");
    EXPECT_NE(request->m_sessionID, 0u);
    EXPECT_EQ(request->m_sessionID, sut->GetSessionID());
    EXPECT_GT(request->m_processID, 0);
    EXPECT_GT(request->m_remoteTimeUs, 0);
    EXPECT_TRUE(request->GetResponseRequested());
    EXPECT_EQ(request->GetSource(), ZCommEndpoint(ZNodeUID("M"), EP_CONTROL, "addnodemanager"));
    EXPECT_EQ(request->GetResponseEndpoint(), ZCommEndpoint(ZNodeUID("M"), EP_RESPONSE, "addnodemanager"));
}

TEST_F(ZNodeManagerTest, SilentDiscoveryGetsBoundedBackoffForeverAndStopLeavesQuietly) {
    auto sut = Started();

    RunFor(*sut, milliseconds(60000));

    const std::vector<std::string> expected{
        "No answer from discovery node ZNodeDiscovery1 after 1 attempts; retrying in 0.5 s",
        "No answer from discovery node ZNodeDiscovery1 after 2 attempts; retrying in 1 s",
        "No answer from discovery node ZNodeDiscovery1 after 3 attempts; retrying in 2 s",
        "No answer from discovery node ZNodeDiscovery1 after 4 attempts; retrying in 4 s",
        "No answer from discovery node ZNodeDiscovery1 after 5 attempts; retrying in 8 s",
        "No answer from discovery node ZNodeDiscovery1 after 6 attempts; retrying in 8 s",
    };
    std::vector<std::string> retries;
    for (const auto& record : m_log->Records()) {
        if (record.text.rfind("No answer", 0) == 0) {
            EXPECT_EQ(record.level, LOGLEVEL_WARNING);
            retries.push_back(record.text);
        }
    }
    ASSERT_GE(retries.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(retries.begin(), retries.begin() + 6), expected);
    // 0.5 + 0.5, 1 + 1, 2 + 2, 4 + 4, then 8 + 8 for each further attempt: 7 attempts in 60 s.
    const auto requests = m_registrations.Messages();
    ASSERT_EQ(requests.size(), 7u);
    for (std::size_t i = 0; i < requests.size(); ++i) {
        const auto& request = static_cast<const ZDiscoveryManagerMsg&>(*requests[i]);
        EXPECT_EQ(request.m_sessionID, sut->GetSessionID());
        EXPECT_EQ(request.GetDeliveryInfo(), i == 0 ? 0 : static_cast<std::int32_t>(i + 1));
    }
    EXPECT_EQ(sut->GetState(), NMSTATE_REGISTERING);

    sut->Stop();

    EXPECT_EQ(sut->GetState(), NMSTATE_STOPPED);
    EXPECT_TRUE(sut->IsStopped());
    for (const auto& node : sut->GetHostedNodes()) {
        EXPECT_TRUE(node->IsStopped());
    }
    EXPECT_EQ(m_removals.Count(), 0u);
    EXPECT_EQ(m_pBus->SubscriptionCount(), 2u);  // the test's own recorders
    RunFor(*sut, milliseconds(20000));
    EXPECT_EQ(m_registrations.Count(), 7u);
}

TEST_F(ZNodeManagerTest, BackoffAndSignOfLifeTimes) {
    EXPECT_EQ(ZNodeManager::Backoff(1), milliseconds(500));
    EXPECT_EQ(ZNodeManager::Backoff(2), milliseconds(1000));
    EXPECT_EQ(ZNodeManager::Backoff(4), milliseconds(4000));
    EXPECT_EQ(ZNodeManager::Backoff(5), milliseconds(8000));
    EXPECT_EQ(ZNodeManager::Backoff(1000000), milliseconds(8000));
    ZNodeManager sut("M");
    EXPECT_EQ(sut.GetDeadTimeSecs(), 10);
    EXPECT_TRUE(sut.Load(Config(3)));
    EXPECT_EQ(sut.GetDeadTimeSecs(), 3);
    EXPECT_EQ(sut.GetSignOfLifePeriod(), milliseconds(1000));
    EXPECT_TRUE(sut.Load(Config(0)));
    EXPECT_EQ(sut.GetSignOfLifePeriod(), milliseconds(100));
    EXPECT_STREQ(ZEnum::Name(NMSTATE_REGISTERING_NODES), "NMSTATE_REGISTERING_NODES");
    EXPECT_EQ(ZEnum::Cast<ZNodeManagerState>("NMSTATE_RUNNING"), NMSTATE_RUNNING);
}

TEST_F(ZNodeManagerTest, LoadAndStartRefuseWhatCannotRun) {
    auto config = Config();
    config->m_nodes[1].m_className = "ZNoSuchNode";
    ZNodeManager sut("M");
    sut.m_logLevel = LOGLEVEL_ERROR;

    EXPECT_FALSE(sut.Load(config));
    EXPECT_TRUE(m_log->Contains("Node <fixed> of <M>: <ZNoSuchNode> is not a node class the factory knows",
                                LOGLEVEL_ERROR));
    config->m_nodes[1].m_className = "ZSystemParams";
    EXPECT_FALSE(sut.Load(config));
    auto unsafe = Config();
    unsafe->m_nodes[1].m_uid = ZNodeUID("Fixed#");
    EXPECT_FALSE(sut.Load(unsafe));
    EXPECT_TRUE(
        m_log->Contains("Node <fixed> of <M>: UID <Fixed#> contains an MQTT wildcard", LOGLEVEL_ERROR));
    EXPECT_TRUE(sut.GetHostedNodes().empty());
    EXPECT_FALSE(sut.Load(nullptr));

    EXPECT_FALSE(sut.StartManual(m_pComm));  // nothing loaded
    EXPECT_TRUE(sut.IsStopped());
    EXPECT_EQ(m_registrations.Count(), 0u);
    EXPECT_FALSE(sut.Load(Config()));  // stopped for good
}

TEST_F(ZNodeManagerTest, FactoryMakesManagersByName) {
    auto made = std::dynamic_pointer_cast<ZNodeManager>(ZShared::ZFactory::CreateShared("ZNodeManager", "M"));
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->GetInstanceName(), "M");
    EXPECT_FALSE(made->ShouldRegisterWithDiscovery());
    auto config = ZShared::ZFactory::CreateShared("ZNodeManagerConfig");
    ASSERT_NE(config, nullptr);
    EXPECT_TRUE(ZShared::CID::IsKindOf(ZConfig::m_cid, config->GetCID()));
}

}  // namespace
