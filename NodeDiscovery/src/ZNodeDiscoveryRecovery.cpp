// What the discovery node keeps across restarts: its numbering, and which start of each node
// manager it serves.
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZNumberingMsg.h"
#include "NodeDiscovery/ZNodeDiscovery.h"
#include "ZManagerInstances.h"
#include "ZTopologyIndex.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"

using ZShared::make_shared_direct;
using ZShared::CID::IsKindOf;

namespace {
// The number of a UID made from the class name and a number, as ZNodeUID(className, n) writes it;
// 0 when the UID is not of that form.
std::int32_t NumberOf(const ZNodeUID& uid, const ZString& className) {
    const ZString& text = uid.AsString();
    if (className.empty() || text.size() <= className.size() ||
        text.compare(0, className.size(), className) != 0) {
        return 0;
    }
    const char* digits = text.c_str() + className.size();
    if (*digits == '0' || std::strlen(digits) > 9) {
        return 0;
    }
    for (const char* c = digits; *c != '\0'; ++c) {
        if (!std::isdigit(static_cast<unsigned char>(*c))) {
            return 0;
        }
    }
    return static_cast<std::int32_t>(std::strtol(digits, nullptr, 10));
}
}  // namespace

bool ZNodeDiscovery::OnNumbering(const std::shared_ptr<ZMessage>& message) {
    if (!message || !IsKindOf(ZNumberingMsg::m_cid, message->GetCID())) {
        return false;
    }
    bool raised = false;
    for (const auto& counter : static_cast<const ZNumberingMsg&>(*message).m_counters) {
        auto& last = m_lastIDs[counter.m_className];
        if (counter.m_lastID > last) {
            last = counter.m_lastID;
            raised = true;
        }
    }
    if (raised) {
        m_bNumberedBefore = true;
        ZLOG(LOGLEVEL_PROGRESS, "Numbering of an earlier start taken over: %zu class name(s)",
             m_lastIDs.size());
    }
    return true;
}

ZNodeUID ZNodeDiscovery::NumberNode(const std::string& className) {
    m_bNumberingChanged = true;
    for (;;) {
        ZNodeUID uid(className, GetNextID(className));
        if (!m_bNumberedBefore || m_pIndex->Find(uid) == nullptr) {
            return uid;
        }
        ZLOG(LOGLEVEL_WARNING, "Number <%s> of an earlier start is still in use; passed over", uid.c_str());
    }
}

void ZNodeDiscovery::NoteNumberedUID(const ZDiscoveryRequestMsg& request) {
    const std::int32_t number = NumberOf(request.m_uid, request.m_className);
    if (number == 0) {
        return;
    }
    auto& last = m_lastIDs[request.m_className];
    if (number > last) {
        // Only a start before this one can have handed it out.
        last = number;
        m_bNumberedBefore = true;
        m_bNumberingChanged = true;
    }
}

void ZNodeDiscovery::PublishNumbering() {
    m_bNumberingChanged = false;
    auto numbering = make_shared_direct<ZNumberingMsg>("ZNumberingMsg", ZLOG_FILE, __LINE__);
    if (!numbering) {
        ZLOG(LOGLEVEL_ERROR, "Cannot create ZNumberingMsg: the numbering is not published");
        return;
    }
    for (const auto& [className, last] : m_lastIDs) {
        numbering->m_counters.push_back(ZNumberingMsg::ZCounter{className, last});
    }
    numbering->SetRetained(true);
    Publish(GetEndpoint(EP_STATUS, "numbering", 0), numbering);
}

bool ZNodeDiscovery::RefuseSuperseded(const std::shared_ptr<ZMessage>& request) {
    auto& registration = static_cast<ZDiscoveryManagerMsg&>(*request);
    const ZNodeUID& uid = registration.m_nodeManagerUID;
    if (!m_pInstances->IsReplaced(uid, registration.m_startID)) {
        return false;
    }
    ZLOG(LOGLEVEL_WARNING,
         "Node manager <%s> of start <%lld> was replaced by start <%lld>: registration refused", uid.c_str(),
         static_cast<long long>(registration.m_startID), static_cast<long long>(m_pInstances->Current(uid)));
    registration.m_bSuperseded = true;
    registration.m_nodeManagerUID = GetMasterNodeManagerUID();
    std::shared_ptr<ZMessage> response = request;
    PublishResponse(request, response, true, false);
    return true;
}
