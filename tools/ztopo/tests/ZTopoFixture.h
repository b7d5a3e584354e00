#pragma once

// What ztopo's tests share: ztopo (the sut) against a discovery node from its module on a private
// bus, its pump driven from ztopo's waiting; node managers are played by the requests they send.
#include "ZTopoCommand.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "NodeBase/ZDiscoveryConnectMsg.h"
#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZDiscoveryTopoChangeNotificationMsg.h"
#include "NodeBase/ZNode.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "NodeBase/ZTopologyMsg.h"
#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "ZModuleLoader.h"
#include "ZShared/ZFactory.h"
#include "ZTestKit/ZCapturingLogSink.h"
#include "ZTestKit/ZManualClock.h"
#include "ZTestKit/ZPumpDriver.h"
#include "ZTestKit/ZTestStreams.h"

inline bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Radar-NM (group Bridge) hosts Radar1 and a radar numbered by the discovery node in group Mast;
// Antenna-NM (group Mast) hosts Antenna1, which feeds Radar1. Radar-NM is the master.
class ZTopoCommandTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        static ZModuleLoader loader;
        static const bool loaded = loader.Load(Z_NODE_DISCOVERY_MODULE);
        ASSERT_TRUE(loaded) << loader.GetError();
    }

    void SetUp() override {
        m_pDiscovery = std::dynamic_pointer_cast<ZNode>(ZShared::ZFactory::CreateShared("ZNodeDiscovery"));
        ASSERT_TRUE(m_pDiscovery);
        m_pDiscovery->SetMasterNodeManagerUID(ZNodeUID("Radar-NM"));
        ASSERT_TRUE(m_pDiscovery->Initialize(std::make_shared<ZNodeCommLocal>(m_pBus), nullptr,
                                             m_pDiscovery->GetUID()));
        RegisterManager("Radar-NM", "Bridge");
        RegisterManager("Antenna-NM", "Mast");
        AddNode("Radar-NM", "Radar1", "ZRadar", "Bridge", "Radar1");
        AddNode("Radar-NM", "Radar2", "ZRadar", "Mast");
        AddNode("Antenna-NM", "Antenna1", "ZAntenna", "Mast", "Antenna1");
        auto connect = ZMakeShared<ZDiscoveryConnectMsg>();
        connect->m_edge = ZTopologyEdge(ZCommEndpoint(ZNodeUID("Antenna1"), EP_STATUS, "out"),
                                        ZCommEndpoint(ZNodeUID("Radar1"), EP_CONTROL, "in"));
        Send("Antenna-NM", "topoconnect", connect);
        m_log->Clear();

        m_sut.SetConnector([this](const std::string& url, const std::string&, std::chrono::milliseconds,
                                  std::string& error) -> std::shared_ptr<ZNodeComm> {
            m_urls.push_back(url);
            error = "no transport for this URL";
            return m_bTransport ? m_pClient : nullptr;
        });
        m_sut.SetStep([this] {
            m_pump.Run(*m_pDiscovery);
            m_clock.Advance(std::chrono::milliseconds(10));
            if (m_onStep) {
                m_onStep();
            }
        });
    }
    void TearDown() override { m_pDiscovery->StopAction(true); }

    int Run(std::vector<std::string> args) {
        args.insert(args.begin(), "ztopo");
        m_out.str("");
        m_err.str("");
        return m_sut.Run(args);
    }

    void Send(const char* from, const char* request, std::shared_ptr<ZMessage> message) {
        message->SetSource(ZCommEndpoint(ZNodeUID(from), EP_CONTROL, request));
        m_pPlayers->Publish(ZCommEndpoint(ZNodeUID("ZNodeDiscovery1"), EP_CONTROL, request), message);
        m_pDiscovery->PumpUntilIdle();
    }
    // Registration as a node manager makes it: the manager (which takes the lock), its nodes, the
    // change notice, the unlock.
    void RegisterManager(const char* uid, const char* group) {
        auto registration = ZMakeShared<ZDiscoveryManagerMsg>();
        registration->m_nodeManagerUID = ZNodeUID(uid);
        registration->m_sessionID = 7;
        registration->m_group = group;
        registration->m_hostName = "console";
        registration->m_processID = 4242;
        registration->m_versionInfo.m_frameworkVersion = "2.151";
        Send(uid, "addnodemanager", registration);
        auto unlock = ZMakeShared<ZDiscoveryLockUnlockMsg>();
        Send(uid, "locking", unlock);
    }
    void AddNode(const char* manager, const char* name, const char* className, const char* group,
                 const char* uid = "") {
        auto node = ZMakeShared<ZDiscoveryRequestMsg>();
        node->m_name = name;
        node->m_className = className;
        node->m_group = group;
        node->m_nodeManagerUID = ZNodeUID(manager);
        node->m_uid = ZNodeUID(uid);
        Send(manager, "addnode", node);
    }

    ZManualClock m_clock;
    ZScopedLogCapture m_log;
    ZPumpDriver m_pump;
    std::shared_ptr<ZLocalBus> m_pBus = std::make_shared<ZLocalBus>();
    std::shared_ptr<ZNodeCommLocal> m_pClient = std::make_shared<ZNodeCommLocal>(m_pBus);
    std::shared_ptr<ZNodeCommLocal> m_pPlayers = std::make_shared<ZNodeCommLocal>(m_pBus);
    std::shared_ptr<ZNode> m_pDiscovery;
    std::function<void()> m_onStep;
    bool m_bTransport = true;
    std::vector<std::string> m_urls;
    std::ostringstream m_out;
    std::ostringstream m_err;
    ZTopoCommand m_sut{m_out, m_err};
};
