#pragma once

// Node managers and a real discovery node on a private in-process bus, for the tests of how
// managers register, stay registered and recover. Every pump runs on the test thread (ZPumpDriver)
// and time is a ZManualClock.
#include <gtest/gtest.h>

#include "NodeBase/ZNodeManager.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZOnlineStatusMsg.h"
#include "NodeBase/ZRemovalHistoryMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "NodeComm/ZCommManager.h"
#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "NodeDiscovery/ZNodeDiscovery.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZMakeShared.h"
#include "ZTestKit/ZCapturingLogSink.h"
#include "ZTestKit/ZManualClock.h"
#include "ZTestKit/ZPumpDriver.h"
#include "ZTestKit/ZRecordingSubscriber.h"

using std::chrono::milliseconds;
using Strings = std::vector<std::string>;

class ZManagedNode : public ZNode {
    Z_FACTORY_CLASS(ZManagedNode)

public:
    using ZNode::ZNode;
    ~ZManagedNode() override { StopAction(true); }
};

inline const bool g_managedNodeRegistered = [] {
    ZClassRegistration<ZManagedNode>::Register("ZNode");
    return true;
}();

inline constexpr const char* kRequests[] = {"addnodemanager",
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

inline ZCommEndpoint Discovery(ZEndpointType type, const char* name) {
    return ZCommEndpoint(ZNodeUID("ZNodeDiscovery1"), type, name);
}

inline ZNodeManagerConfig::ZHostedNode Node(const char* name, const char* uid = "",
                                            const char* className = "ZManagedNode") {
    ZNodeManagerConfig::ZHostedNode node;
    node.m_className = className;
    node.m_name = name;
    node.m_uid = ZNodeUID(uid);
    node.m_group = "G";
    return node;
}

inline ZNodeManagerConfig::ZConnection Connection(const char* from, const char* to,
                                                  const char* fromGroup = "") {
    ZNodeManagerConfig::ZConnection connection;
    ZNodeManagerConfig::ParseEndpoint(from, connection.m_from);
    ZNodeManagerConfig::ParseEndpoint(to, connection.m_to);
    connection.m_fromGroup = fromGroup;
    return connection;
}

// The in-process transport in a broker's order of things: it connects only when asked, keeps the
// last will it is given, which it cannot send (false, as the in-process transport answers), and
// reports the reconnections a test makes up.
class ZWillKeepingComm : public ZNodeCommLocal {
public:
    using ZNodeCommLocal::ZNodeCommLocal;
    bool Connect() override {
        m_bConnectAsked = true;
        return ZNodeCommLocal::Connect();
    }
    bool IsConnected() const override { return m_bConnectAsked && ZNodeCommLocal::IsConnected(); }
    std::uint64_t GetConnectionCount() const override { return m_connections; }
    bool SetLastWill(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) override {
        m_willEndpoint = endpoint;
        m_pWill = message;
        m_bWillBeforeConnect = !m_bConnectAsked;
        return false;
    }

    ZCommEndpoint m_willEndpoint;
    std::shared_ptr<ZMessage> m_pWill;
    bool m_bWillBeforeConnect = false;
    std::uint64_t m_connections = 1;  // raised by a test: the broker connection was lost and came back

private:
    bool m_bConnectAsked = false;
};

// Every request the discovery node receives, in order, as "<sender> <request>", with the details
// read when it is published (the discovery node answers some requests by changing them).
class ZRequestLog {
public:
    explicit ZRequestLog(const std::shared_ptr<ZNodeComm>& comm) : m_pComm(comm) {
        for (const char* name : kRequests) {
            m_ids.push_back(comm->Subscribe(
                Discovery(EP_CONTROL, name),
                [this, name](const ZCommEndpoint&, const std::shared_ptr<ZMessage>& message) {
                    m_requests.push_back(std::string(message->GetSource().m_uid.c_str()) + " " + name);
                    if (auto node = std::dynamic_pointer_cast<ZDiscoveryRequestMsg>(message)) {
                        m_details.push_back(std::string("uid=") + node->m_uid.c_str());
                    } else if (auto lock = std::dynamic_pointer_cast<ZDiscoveryLockUnlockMsg>(message)) {
                        m_details.push_back(std::string(lock->m_bLock ? "lock" : "unlock") +
                                            (message->GetResponseRequested() ? " answered" : " unanswered"));
                    } else if (auto registration = std::dynamic_pointer_cast<ZDiscoveryManagerMsg>(message)) {
                        m_details.push_back("session=" + std::to_string(registration->m_sessionID) +
                                            " attempt=" + std::to_string(message->GetDeliveryInfo()));
                    } else {
                        m_details.push_back("");
                    }
                }));
        }
    }
    ~ZRequestLog() {
        for (const auto id : m_ids) {
            m_pComm->Unsubscribe(id);
        }
    }
    Strings From(const std::string& sender, const std::string& request = "") const {
        Strings found;
        for (std::size_t i = 0; i < m_requests.size(); ++i) {
            const bool sentBy = m_requests[i].rfind(sender + " ", 0) == 0;
            if (sentBy && (request.empty() || m_requests[i] == sender + " " + request)) {
                found.push_back(request.empty() ? m_requests[i] : m_details[i]);
            }
        }
        return found;
    }
    void Clear() {
        m_requests.clear();
        m_details.clear();
    }

private:
    std::shared_ptr<ZNodeComm> m_pComm;
    std::vector<ZNodeComm::SubscriptionId> m_ids;
    Strings m_requests;
    Strings m_details;
};

class ZNodeManagerDiscoveryTest : public ::testing::Test {
protected:
    ZNodeManagerDiscoveryTest()
        : m_pBus(std::make_shared<ZLocalBus>()),
          m_pClients(std::make_shared<ZNodeCommLocal>(m_pBus)),
          m_topoChanged(m_pClients, Discovery(EP_STATUS, "topochanged")),
          m_nodesDisconnected(m_pClients, Discovery(EP_STATUS, "nodesdisconnected")),
          m_requests(m_pClients) {
        StartDiscovery();
    }
    ~ZNodeManagerDiscoveryTest() override {
        for (auto& [uid, manager] : m_managers) {
            manager->Halt();
        }
        m_pDiscovery->StopAction(true);
    }

    static std::shared_ptr<ZNodeManagerConfig> Config(const char* uid,
                                                      std::vector<ZNodeManagerConfig::ZHostedNode> nodes) {
        auto config = ZMakeShared<ZNodeManagerConfig>();
        config->m_uid = ZNodeUID(uid);
        config->m_group = "G";
        config->m_nodes.assign(nodes.begin(), nodes.end());
        return config;
    }
    // Loads and starts a manager on a transport of its own, as another process would have.
    ZNodeManager& Start(std::shared_ptr<ZNodeManagerConfig> config) {
        auto manager = ZMakeShared<ZNodeManager>(config->m_uid.c_str());
        manager->m_logLevel = LOGLEVEL_PROGRESS;
        EXPECT_TRUE(manager->Load(config));
        auto comm = std::make_shared<ZWillKeepingComm>(m_pBus);
        EXPECT_TRUE(manager->StartManual(comm));
        m_comms[config->m_uid.c_str()] = comm;
        auto& slot = m_managers[config->m_uid.c_str()];
        if (slot) {
            m_retired.push_back(slot);
        }
        slot = manager;
        return *manager;
    }
    ZNodeManager& Manager(const std::string& uid) { return *m_managers.at(uid); }
    ZWillKeepingComm& CommOf(const std::string& uid) { return *m_comms.at(uid); }

    // A discovery node that knows nothing yet, as a newly started process has.
    void StartDiscovery() {
        if (m_pDiscovery) {
            m_pDiscovery->StopAction(true);
        }
        m_pDiscoveryComm = std::make_shared<ZNodeCommLocal>(m_pBus);
        m_pDiscovery = ZMakeShared<ZNodeDiscovery>("discovery");
        m_pDiscovery->SetMasterNodeManagerUID(ZNodeUID("Master"));
        EXPECT_TRUE(m_pDiscovery->Initialize(m_pDiscoveryComm, nullptr, m_pDiscovery->GetUID()));
    }
    // The online status the discovery node's host publishes.
    void PublishOnline(bool online, std::int64_t startID) {
        auto status = ZMakeShared<ZOnlineStatusMsg>();
        status->m_bOnline = online;
        status->m_nodeManagerUID = ZNodeUID("Host");
        status->m_startID = startID;
        status->SetRetained(true);
        m_pClients->Publish(Discovery(EP_STATUS, "online"), status);
    }

    // Runs the discovery node and the named managers (all of them by default) until quiet, and
    // again while idle hooks have left requests queued.
    void Run(const Strings& managers = {}) {
        std::vector<ZNode*> nodes{m_pDiscovery.get()};
        for (auto& [uid, manager] : m_managers) {
            if (managers.empty() || std::find(managers.begin(), managers.end(), uid) != managers.end()) {
                nodes.push_back(manager.get());
            }
        }
        const auto queued = [&nodes] {
            return std::any_of(nodes.begin(), nodes.end(),
                               [](ZNode* node) { return node->QueuedCount() > 0; });
        };
        do {
            m_driver.RunUntilQuiet(nodes);
            ASSERT_TRUE(m_driver.WasQuiet());
        } while (queued());
    }
    // Lets time pass in steps of 250 ms, running the pumps after each.
    void RunFor(milliseconds duration, const Strings& managers = {}) {
        for (milliseconds step(0); step < duration; step += milliseconds(250)) {
            m_clock.Advance(milliseconds(250));
            Run(managers);
        }
    }

    Strings GraphUIDs() const {
        Strings uids;
        for (const auto& node : m_pDiscovery->GetTopology()->m_nodes) {
            uids.emplace_back(node.m_uid.c_str());
        }
        return uids;
    }
    bool RegistryKnows(const char* uid) {
        ZNodeUID manager;
        return m_pDiscoveryComm->GetCommManager()->FindNodeManagerOf(ZNodeUID(uid), manager);
    }
    Strings Disconnected(std::size_t index) const {
        Strings uids;
        const auto message =
            std::dynamic_pointer_cast<ZNodesDisconnectedMsg>(m_nodesDisconnected.Messages().at(index));
        for (const auto& uid : message->m_nodeUIDs) {
            uids.emplace_back(uid.c_str());
        }
        return uids;
    }

    ZManualClock m_clock;
    ZScopedLogCapture m_log;
    ZPumpDriver m_driver;
    std::shared_ptr<ZLocalBus> m_pBus;
    std::shared_ptr<ZNodeCommLocal> m_pDiscoveryComm;
    std::shared_ptr<ZNodeCommLocal> m_pClients;
    ZRecordingSubscriber m_topoChanged;
    ZRecordingSubscriber m_nodesDisconnected;
    ZRequestLog m_requests;
    std::shared_ptr<ZNodeDiscovery> m_pDiscovery;
    std::map<std::string, std::shared_ptr<ZNodeManager>> m_managers;
    std::map<std::string, std::shared_ptr<ZWillKeepingComm>> m_comms;
    std::vector<std::shared_ptr<ZNodeManager>> m_retired;
};
