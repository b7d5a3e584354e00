#include "ZDemoObserver.h"

#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "ZDemoTimeline.h"
#include "ZMessages/ZGenericResponseMsg.h"

namespace {

const ZNodeUID kDiscovery("ZNodeDiscovery1");
const char* const kWho = "ZNodeDiscovery1";

}  // namespace

ZDemoObserver::ZDemoObserver(std::shared_ptr<ZNodeComm> comm, const std::vector<std::string>& managers)
    : m_pComm(std::move(comm)) {
    for (const auto& manager : managers) {
        const ZNodeUID uid(manager);
        Listen(ZCommEndpoint(uid, EP_RESPONSE, "addnodemanager"), &ZDemoObserver::TellRegistration);
        Listen(ZCommEndpoint(uid, EP_RESPONSE, "addnode"), &ZDemoObserver::TellNode);
        Listen(ZCommEndpoint(uid, EP_RESPONSE, "topoconnect"), &ZDemoObserver::TellConnection);
    }
    Listen(ZCommEndpoint(kDiscovery, EP_STATUS, "topochanged"), &ZDemoObserver::TellTopoChanged);
    Listen(ZCommEndpoint(kDiscovery, EP_STATUS, "nodesdisconnected"), &ZDemoObserver::TellNodesDisconnected);
}

ZDemoObserver::~ZDemoObserver() {
    for (const auto id : m_subscriptions) {
        m_pComm->Unsubscribe(id);
    }
}

void ZDemoObserver::Listen(const ZCommEndpoint& endpoint, void (*tell)(const std::string&, const ZMessage&)) {
    const std::string about = endpoint.m_uid.c_str();
    m_subscriptions.push_back(m_pComm->Subscribe(
        endpoint, [tell, about](const ZCommEndpoint&, const std::shared_ptr<ZMessage>& message) {
            if (message) {
                tell(about, *message);
            }
        }));
}

void ZDemoObserver::TellRegistration(const std::string& manager, const ZMessage& answer) {
    const auto* registration = dynamic_cast<const ZDiscoveryManagerMsg*>(&answer);
    if (registration == nullptr) {
        return;
    }
    if (!registration->m_bRegistered) {
        ZDemoTimeline::Get().Print(
            kWho, "addnodemanager of " + manager + " refused: another node manager holds the lock");
        return;
    }
    ZDemoTimeline::Get().Print(kWho, "addnodemanager of " + manager + " answered: registered, session " +
                                         std::to_string(registration->m_sessionID) +
                                         ", master node manager " + registration->m_nodeManagerUID.c_str());
}

void ZDemoObserver::TellNode(const std::string& manager, const ZMessage& answer) {
    const auto* node = dynamic_cast<const ZDiscoveryRequestMsg*>(&answer);
    if (node == nullptr) {
        return;
    }
    ZDemoTimeline::Get().Print(kWho, "addnode " + ToStdString(node->m_name) + " (" +
                                         ToStdString(node->m_className) + ") of " + manager +
                                         " answered: UID " + node->m_uid.c_str());
}

void ZDemoObserver::TellConnection(const std::string& manager, const ZMessage& answer) {
    const auto* result = dynamic_cast<const ZGenericResponseMsg*>(&answer);
    if (result == nullptr) {
        return;
    }
    ZDemoTimeline::Get().Print(kWho,
                               "topoconnect of " + manager + " answered: " + ToStdString(result->m_text));
}

void ZDemoObserver::TellTopoChanged(const std::string&, const ZMessage&) {
    ZDemoTimeline::Get().Print(kWho, "published status/ZNodeDiscovery1/topochanged");
}

void ZDemoObserver::TellNodesDisconnected(const std::string&, const ZMessage& notification) {
    const auto* disconnected = dynamic_cast<const ZNodesDisconnectedMsg*>(&notification);
    if (disconnected == nullptr) {
        return;
    }
    std::string uids;
    for (const auto& uid : disconnected->m_nodeUIDs) {
        uids += (uids.empty() ? "" : ", ") + ToStdString(uid);
    }
    ZDemoTimeline::Get().Print(kWho, "published status/ZNodeDiscovery1/nodesdisconnected: " + uids);
}
