#include <gtest/gtest.h>

#include "NodeBase/ZDiscoveryConnectMsg.h"
#include "NodeBase/ZDiscoveryDeleteMsg.h"
#include "NodeBase/ZDiscoveryPluginMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "ZDiscoveryFixture.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"

namespace {

// Counts subscription attempts and refuses the one named.
class ZRefusingDiscovery : public ZNodeDiscovery {
public:
    explicit ZRefusingDiscovery(std::string refuse)
        : ZNodeDiscovery("refusing"), m_refuse(std::move(refuse)) {}
    bool Subscribe(const ZCommEndpoint& endpoint, Callback callback) override {
        m_attempts.push_back(ToStdString(endpoint.AsString()));
        if (endpoint.m_name == m_refuse.c_str()) {
            return false;
        }
        return ZNodeDiscovery::Subscribe(endpoint, std::move(callback));
    }
    std::string m_refuse;
    std::vector<std::string> m_attempts;
};

TEST(ZNodeDiscoveryConstructionTest, IsZNodeDiscovery1WhateverItsNameAndSilentUntilInitialised) {
    ZScopedLogCapture capture;
    auto made = ZShared::ZFactory::CreateShared("ZNodeDiscovery", "any instance name");
    auto sut = std::dynamic_pointer_cast<ZNodeDiscovery>(made);
    ASSERT_NE(sut, nullptr);

    EXPECT_TRUE(ZShared::CID::IsKindOf(ZNode::m_cid, ZNodeDiscovery::m_cid));
    EXPECT_EQ(sut->GetUID(), ZNodeUID("ZNodeDiscovery1"));
    EXPECT_FALSE(sut->ShouldRegisterWithDiscovery());
    EXPECT_EQ(sut->m_pTopology, nullptr);
    EXPECT_EQ(sut->m_logLevel, 0);
    EXPECT_EQ(sut->m_logSource, nullptr);
    EXPECT_EQ(sut->m_lastMonitorTime, ZSteadyTimePoint());
    EXPECT_EQ(sut->shared_from_this().get(), sut.get());
    sut->OnMonitorTopoNodes();
    EXPECT_TRUE(capture->Records().empty());
}

TEST(ZNodeDiscoveryConstructionTest, MessageMapStopsAtTheFirstRefusedSubscription) {
    ZManualClock clock;
    auto sut = ZMakeShared<ZRefusingDiscovery>("gettopo");

    EXPECT_FALSE(sut->Initialize(std::make_shared<ZNodeCommLocal>(std::make_shared<ZLocalBus>()), nullptr,
                                 sut->GetUID()));

    EXPECT_EQ(sut->m_attempts,
              (std::vector<std::string>{
                  "control/ZNodeDiscovery1/addnodemanager", "control/ZNodeDiscovery1/removenodemanager",
                  "control/ZNodeDiscovery1/addnode", "control/ZNodeDiscovery1/addplugin",
                  "control/ZNodeDiscovery1/gettopo"}));
}

TEST(ZNodeDiscoveryConstructionTest, MessageMapSubscribesTheTwelveControlEndpointsInOrder) {
    ZManualClock clock;
    auto sut = ZMakeShared<ZRefusingDiscovery>("");

    EXPECT_TRUE(sut->Initialize(std::make_shared<ZNodeCommLocal>(std::make_shared<ZLocalBus>()), nullptr,
                                sut->GetUID()));

    const std::vector<std::string> names{"addnodemanager",
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
    ASSERT_EQ(sut->m_attempts.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(sut->m_attempts[i], "control/ZNodeDiscovery1/" + names[i]);
    }
    sut->StopAction(true);
}

using ZNodeDiscoveryLifecycleTest = ZDiscoveryFixture;

TEST_F(ZNodeDiscoveryLifecycleTest, InitialisationGivesAnEmptyGraphAndConnectionKeepsTheUID) {
    EXPECT_NE(m_sut->m_pTopology, nullptr);
    EXPECT_TRUE(Graph().m_nodes.empty());
    EXPECT_EQ(m_sut->m_logLevel, LOGLEVEL_PROGRESS);
    EXPECT_STREQ(m_sut->m_logSource, "ZNodeDiscovery");
    EXPECT_EQ(m_sut->m_lastMonitorTime, m_clock.Now());
    EXPECT_EQ(m_sut->GetUID(), ZNodeUID("ZNodeDiscovery1"));
    EXPECT_EQ(m_log->Count("Processing ZNodeDiscovery::OnConnected()...", LOGLEVEL_PROGRESS), 1u);
    RegisterManager("NM1");
    const auto first = m_sut->m_pTopology;

    m_sut->OnInit(m_pComm, nullptr, m_sut->GetUID());

    EXPECT_NE(m_sut->m_pTopology, first);
    EXPECT_TRUE(Graph().m_nodes.empty());
}

TEST_F(ZNodeDiscoveryLifecycleTest, MonitorRunsFromIdleAtMostOnceEvery1001Milliseconds) {
    const ZSteadyTimePoint initialised = m_sut->m_lastMonitorTime;

    m_clock.Advance(std::chrono::milliseconds(1000));
    m_sut->OnIdle();
    EXPECT_EQ(m_sut->m_lastMonitorTime, initialised);

    m_clock.Advance(std::chrono::milliseconds(1));
    m_sut->OnIdle();
    EXPECT_EQ(m_sut->m_lastMonitorTime, m_clock.Now());

    const ZSteadyTimePoint ranAt = m_clock.Now();
    m_clock.Advance(std::chrono::milliseconds(999));
    m_sut->OnIdle();
    EXPECT_EQ(m_sut->m_lastMonitorTime, ranAt);

    m_sut->m_bMonitorRunning = true;  // a run in progress is never nested
    m_clock.Advance(std::chrono::seconds(5));
    m_sut->OnIdle();
    EXPECT_EQ(m_sut->m_lastMonitorTime, ranAt);
}

TEST_F(ZNodeDiscoveryLifecycleTest,
       DuringShutdownRegistrationsAreTurnedAwayAndTheMonitorRestsButDeletionsWork) {
    RegisterManager("NM1");
    AddNode("NM1", "radar", "ZRadar", "", "Radar1");
    m_sut->BeginShutdown();
    auto plugin = ZMakeShared<ZDiscoveryPluginMsg>();
    plugin->m_pluginName = "libRadar";
    auto connect = ZMakeShared<ZDiscoveryConnectMsg>();
    auto remove = ZMakeShared<ZDiscoveryDeleteMsg>();
    remove->m_nodes.push_back(ZTopologyNode(ZNodeUID("Radar1"), "", {}, "ZRadar", "", ZNodeUID("NM1")));

    Send("NM2", "addnodemanager", ZMakeShared<ZRemoveNodeManagerMsg>());  // any class at all
    Send("NM1", "addnode", ZMakeShared<ZDiscoveryRequestMsg>());
    Send("NM1", "addplugin", plugin);
    Send("NM1", "topoconnect", connect);
    Send("NM1", "topodisconnect", remove);
    m_clock.Advance(std::chrono::seconds(60));
    m_sut->OnIdle();

    for (const auto& [from, request] : std::vector<std::pair<const char*, const char*>>{
             {"NM2", "addnodemanager"}, {"NM1", "addnode"}, {"NM1", "addplugin"}, {"NM1", "topoconnect"}}) {
        auto answer = LastResponse<ZGenericResponseMsg>(from, request);
        ASSERT_NE(answer, nullptr) << request;
        EXPECT_EQ(answer->m_text, "Discover shutting down!");
        EXPECT_FALSE(answer->m_bSuccess);
        EXPECT_EQ(answer->m_errCode, ZFrameworkErrorCodes::ERRCODE_NONE);
    }
    for (const char* handler : {"OnAddNodeManager", "OnAddNode", "OnAddPlugin", "OnTopoConnect"}) {
        EXPECT_EQ(
            m_log->Count(std::string("Entered ") + handler + "() while InShutdown!!!", LOGLEVEL_WARNING), 1u);
    }
    EXPECT_EQ(GraphUIDs(), std::vector<std::string>{"NM1"});  // the deletion was carried out
    EXPECT_TRUE(Graph().m_plugins.empty());
    EXPECT_TRUE(RegistryKnows("NM1"));  // silent for a minute, but the monitor rests
    EXPECT_EQ(m_nodesDisconnected.Count(), 0u);
}

TEST_F(ZNodeDiscoveryLifecycleTest, StoppingEndsDeliveriesAndDestructionStopsFirst) {
    RegisterManager("NM1");
    m_sut->StopAction(true);

    Send("NM2", "addnodemanager", Registration("NM2", 1));

    EXPECT_TRUE(m_sut->InShutdown());
    EXPECT_EQ(Responses("NM2", "addnodemanager").Count(), 0u);
    EXPECT_EQ(GraphUIDs(), std::vector<std::string>{"NM1"});
    m_sut.reset();  // the destructor stops again: safe
}

}  // namespace
