#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeComm/ZCommManager.h"
#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "NodeDiscovery/ZNodeDiscovery.h"
#include "ZShared/ZMakeShared.h"
#include "ZTestKit/ZCapturingLogSink.h"
#include "ZTestKit/ZManualClock.h"
#include "ZTestKit/ZRecordingSubscriber.h"

// A discovery node on a private in-process bus, driven the way node managers drive it: requests are
// published to its control endpoints with the sender's endpoint set, its pump runs on the test
// thread, and what comes back is read from the senders' response endpoints, the two status
// endpoints and the log.
class ZDiscoveryFixture : public ::testing::Test {
protected:
    ZDiscoveryFixture()
        : m_pBus(std::make_shared<ZLocalBus>()),
          m_pComm(std::make_shared<ZNodeCommLocal>(m_pBus)),
          m_pClients(std::make_shared<ZNodeCommLocal>(m_pBus)),
          m_topoChanged(m_pClients, Status("topochanged")),
          m_nodesDisconnected(m_pClients, Status("nodesdisconnected")) {}

    void SetUp() override {
        m_sut = ZMakeShared<ZNodeDiscovery>("discovery");
        m_sut->SetMasterNodeManagerUID(ZNodeUID("Master"));
        ASSERT_TRUE(m_sut->Initialize(m_pComm, nullptr, m_sut->GetUID()));
    }
    void TearDown() override {
        if (m_sut) {
            m_sut->StopAction(true);
        }
    }

    static ZCommEndpoint Status(const char* name) {
        return ZCommEndpoint(ZNodeUID("ZNodeDiscovery1"), EP_STATUS, name);
    }

    // Queues the request as sent by `from` without running the pump.
    void Post(const char* from, const char* request, std::shared_ptr<ZMessage> message) {
        Responses(from, request);
        message->SetSource(ZCommEndpoint(ZNodeUID(from), EP_CONTROL, request));
        m_pClients->Publish(ZCommEndpoint(ZNodeUID("ZNodeDiscovery1"), EP_CONTROL, request), message);
    }
    // Sends the request and lets the discovery node handle everything queued.
    void Send(const char* from, const char* request, std::shared_ptr<ZMessage> message) {
        Post(from, request, std::move(message));
        m_sut->PumpUntilIdle();
    }
    // What `from` received in answer to its `request`s, in order.
    ZRecordingSubscriber& Responses(const char* from, const char* request) {
        auto& recorder = m_responses[std::string(from) + "/" + request];
        if (!recorder) {
            recorder = std::make_unique<ZRecordingSubscriber>(
                m_pClients, ZCommEndpoint(ZNodeUID(from), EP_RESPONSE, request));
        }
        return *recorder;
    }
    template <class T>
    std::shared_ptr<T> LastResponse(const char* from, const char* request) {
        return Responses(from, request).Last<T>();
    }

    static std::shared_ptr<ZDiscoveryManagerMsg> Registration(const char* uid, std::uint32_t session,
                                                              const char* group = "") {
        auto message = ZMakeShared<ZDiscoveryManagerMsg>();
        message->m_nodeManagerUID = ZNodeUID(uid);
        message->m_sessionID = session;
        message->m_group = group;
        message->m_versionInfo.m_systemVersion = "2.151";
        return message;
    }
    void SendLock(const char* from, bool lock, bool answer = true) {
        auto message = ZMakeShared<ZDiscoveryLockUnlockMsg>();
        message->m_bLock = lock;
        message->SetResponseRequested(answer);
        Send(from, "locking", message);
    }
    // Registers a node manager and lets go of the lock its registration took.
    void RegisterManager(const char* uid, std::uint32_t session = 1, const char* group = "") {
        Send(uid, "addnodemanager", Registration(uid, session, group));
        SendLock(uid, false, false);
    }
    // Registers a node of the manager; returns the UID it was registered under ("" when refused).
    std::string AddNode(const char* manager, const char* name, const char* className, const char* group = "",
                        const char* uid = "") {
        auto message = ZMakeShared<ZDiscoveryRequestMsg>();
        message->m_name = name;
        message->m_className = className;
        message->m_group = group;
        message->m_nodeManagerUID = ZNodeUID(manager);
        message->m_uid = ZNodeUID(uid);
        auto& answers = Responses(manager, "addnode");
        const std::size_t before = answers.Count();
        Send(manager, "addnode", message);
        if (answers.Count() == before) {
            return "";
        }
        return answers.Last<ZDiscoveryRequestMsg>()->m_uid.c_str();
    }

    ZCommManager& Registry() { return *m_pComm->GetCommManager(); }
    ZTopologyMsg& Graph() { return *m_sut->GetTopology(); }
    std::vector<std::string> GraphUIDs() {
        std::vector<std::string> uids;
        for (const auto& node : Graph().m_nodes) {
            uids.emplace_back(node.m_uid.c_str());
        }
        return uids;
    }
    bool RegistryKnows(const char* uid) {
        ZNodeUID manager;
        return Registry().FindNodeManagerOf(ZNodeUID(uid), manager);
    }

    ZManualClock m_clock;
    ZScopedLogCapture m_log;
    std::shared_ptr<ZLocalBus> m_pBus;
    std::shared_ptr<ZNodeCommLocal> m_pComm;
    std::shared_ptr<ZNodeCommLocal> m_pClients;
    ZRecordingSubscriber m_topoChanged;
    ZRecordingSubscriber m_nodesDisconnected;
    std::map<std::string, std::unique_ptr<ZRecordingSubscriber>> m_responses;
    std::shared_ptr<ZNodeDiscovery> m_sut;
};
