#include "ZDemoDisplay.h"

#include "NodeBase/ZDiscoveryFindNodeMsg.h"
#include "NodeBase/ZDiscoveryFindUIDMsg.h"
#include "NodeBase/ZNodeUIDMsg.h"
#include "ZDemoTimeline.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/ZMakeShared.h"

namespace {
const ZNodeUID kDiscovery("ZNodeDiscovery1");
}  // namespace

ZDemoDisplay::ZDemoDisplay(const std::string& name) : ZNode(name) {}

ZDemoDisplay::~ZDemoDisplay() {
    StopAction(true);
}

bool ZDemoDisplay::InitMessageMap() {
    return ZNode::InitMessageMap() &&
           Subscribe(GetEndpoint(EP_CONTROL, "lookup", 0),
                     [this](std::shared_ptr<ZMessage>& message) { return OnLookup(message); }) &&
           Subscribe(GetEndpoint(EP_RESPONSE, "finduid", 0),
                     [this](std::shared_ptr<ZMessage>& message) { return OnFindUidResponse(message); }) &&
           Subscribe(GetEndpoint(EP_RESPONSE, "findnode", 0),
                     [this](std::shared_ptr<ZMessage>& message) { return OnFindNodeResponse(message); });
}

bool ZDemoDisplay::OnLookup(const std::shared_ptr<ZMessage>&) {
    FindUid("ZDemoRadar", "Mast");
    FindUid("ZDemoAntenna", "Stern");
    FindUid("ZDemoSonar", "");
    FindNode("Antenna-NM");
    FindNode("Radar1");
    return true;
}

void ZDemoDisplay::FindUid(const char* className, const char* group) {
    auto request = ZMakeShared<ZDiscoveryFindUIDMsg>();
    request->m_className = className;
    request->m_groupName = group;
    request->SetResponseRequested(true);
    m_pendingFindUid.emplace_back(className, group);
    ZDemoTimeline::Get().Print(
        GetUID().c_str(),
        std::string("asks finduid: class ") + className +
            (*group != '\0' ? std::string(", preferably in group ") + group : std::string()));
    std::shared_ptr<ZMessage> message = std::move(request);
    PublishInternal(ZCommEndpoint(kDiscovery, EP_CONTROL, "finduid"), message, nullptr, true, false);
}

void ZDemoDisplay::FindNode(const char* uid) {
    auto request = ZMakeShared<ZDiscoveryFindNodeMsg>();
    request->m_nodeUID = uid;
    request->SetResponseRequested(true);
    ZDemoTimeline::Get().Print(GetUID().c_str(), std::string("asks findnode: ") + uid);
    std::shared_ptr<ZMessage> message = std::move(request);
    PublishInternal(ZCommEndpoint(kDiscovery, EP_CONTROL, "findnode"), message, nullptr, true, false);
}

bool ZDemoDisplay::OnFindUidResponse(const std::shared_ptr<ZMessage>& response) {
    const auto answer = std::dynamic_pointer_cast<ZNodeUIDMsg>(response);
    if (!answer || m_pendingFindUid.empty()) {
        return false;
    }
    const auto [className, group] = m_pendingFindUid.front();
    m_pendingFindUid.pop_front();
    std::string what = "finduid " + className + " answered: ";
    if (answer->m_nodeUID.empty()) {
        what += "no such node";
    } else {
        what += ToStdString(answer->m_nodeUID) + " in group " + ToStdString(answer->m_groupName);
        if (!group.empty()) {
            what += ToStdString(answer->m_groupName) == group ? " (exact match)"
                                                              : " (best match: none in " + group + ")";
        }
    }
    ZDemoTimeline::Get().Print("ZNodeDiscovery1", what);
    ++m_answers;
    return true;
}

bool ZDemoDisplay::OnFindNodeResponse(const std::shared_ptr<ZMessage>& response) {
    const auto answer = std::dynamic_pointer_cast<ZGenericResponseMsg>(response);
    if (!answer) {
        return false;
    }
    ZDemoTimeline::Get().Print(
        "ZNodeDiscovery1",
        "findnode " + ToStdString(answer->m_text) + " answered: " +
            (answer->m_bSuccess ? "a node manager in the topology" : "not a node manager in the topology"));
    ++m_answers;
    return true;
}
