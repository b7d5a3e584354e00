#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "NodeBase/ZDiscoveryConnectMsg.h"
#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeComm/ZCommManager.h"
#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "NodeDiscovery/ZNodeDiscovery.h"
#include "ZMessages/ZGenericResponseMsg.h"
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

    // Connects the status endpoint "out" of one node to the control endpoint "in" of another.
    void Connect(const char* from, const char* to) {
        auto message = ZMakeShared<ZDiscoveryConnectMsg>();
        message->m_edge = ZTopologyEdge(ZCommEndpoint(ZNodeUID(from), EP_STATUS, "out"),
                                        ZCommEndpoint(ZNodeUID(to), EP_CONTROL, "in"));
        Send(from, "topoconnect", message);
    }
    // The request as `from` sends it, for handing straight to a handler whose result matters; its
    // answers are recorded like those of Send.
    template <class T>
    std::shared_ptr<T> From(const char* from, const char* request, std::shared_ptr<T> message) {
        Responses(from, request);
        message->SetSource(ZCommEndpoint(ZNodeUID(from), EP_CONTROL, request));
        return message;
    }
    // The UIDs listed by the index-th "nodesdisconnected" publication, in their order.
    std::vector<std::string> DisconnectedUIDs(std::size_t index) {
        std::vector<std::string> uids;
        const auto messages = m_nodesDisconnected.Messages();
        if (index < messages.size()) {
            if (auto message = std::dynamic_pointer_cast<ZNodesDisconnectedMsg>(messages[index])) {
                for (const auto& uid : message->m_nodeUIDs) {
                    uids.emplace_back(uid.c_str());
                }
            }
        }
        return uids;
    }

    // "<m_bSuccess> <m_text>" of every answer `from` received to its `request`s, oldest first; an
    // answer that is no ZGenericResponseMsg or carries an error code reads "unexpected".
    std::vector<std::string> Outcomes(const char* from, const char* request) {
        std::vector<std::string> outcomes;
        for (const auto& message : Responses(from, request).Messages()) {
            auto answer = std::dynamic_pointer_cast<ZGenericResponseMsg>(message);
            if (!answer || answer->m_errCode != ZFrameworkErrorCodes::ERRCODE_NONE) {
                outcomes.emplace_back("unexpected");
            } else {
                outcomes.push_back(std::string(answer->m_bSuccess ? "true " : "false ") +
                                   answer->m_text.c_str());
            }
        }
        return outcomes;
    }
    // "<level> <text>" of every line the discovery node logged since the log was last cleared.
    std::vector<std::string> DiscoveryLog() {
        std::vector<std::string> lines;
        for (const auto& record : m_log->Records()) {
            if (record.source == "ZNodeDiscovery") {
                lines.push_back(std::to_string(record.level) + " " + record.text);
            }
        }
        return lines;
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
