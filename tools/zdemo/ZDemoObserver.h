#pragma once

#include <memory>
#include <string>
#include <vector>

#include "NodeComm/ZNodeComm.h"

// Listens, like any subscriber on the bus, to what the discovery node answers the demo's node
// managers and to what it publishes, and tells the timeline. It only reads the messages.
class ZDemoObserver {
public:
    ZDemoObserver(std::shared_ptr<ZNodeComm> comm, const std::vector<std::string>& managers);
    ~ZDemoObserver();
    ZDemoObserver(const ZDemoObserver&) = delete;
    ZDemoObserver& operator=(const ZDemoObserver&) = delete;

private:
    void Listen(const ZCommEndpoint& endpoint, void (*tell)(const std::string&, const ZMessage&));
    static void TellRegistration(const std::string& manager, const ZMessage& answer);
    static void TellNode(const std::string& manager, const ZMessage& answer);
    static void TellConnection(const std::string& manager, const ZMessage& answer);
    static void TellTopoChanged(const std::string&, const ZMessage&);
    static void TellNodesDisconnected(const std::string&, const ZMessage& notification);

    const std::shared_ptr<ZNodeComm> m_pComm;
    std::vector<ZNodeComm::SubscriptionId> m_subscriptions;
};
