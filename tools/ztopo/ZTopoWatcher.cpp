#include "ZTopoWatcher.h"

#include <ctime>
#include <string>
#include <vector>

#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZTopologyMsg.h"
#include "ZTopologyDiff.h"
#include "ZTopologyReport.h"
#include "ZTopologyRequest.h"

// Filled by the listeners on the transport's thread and emptied by Update, both under the
// request's waiting lock.
struct ZTopoWatcher::ZNotices {
    std::vector<std::string> m_pending;
};

namespace {

std::string ClockNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[16];
    std::strftime(text, sizeof text, "%H:%M:%S", &local);
    return text;
}

}  // namespace

ZTopoWatcher::ZTopoWatcher(ZTopologyRequest& request, std::ostream& out, std::chrono::milliseconds timeout)
    : m_request(request), m_out(out), m_timeout(timeout), m_pNotices(std::make_shared<ZNotices>()) {}

ZTopoWatcher::~ZTopoWatcher() = default;

bool ZTopoWatcher::Start() {
    const auto notices = m_pNotices;
    const bool subscribed = m_request.Listen("topochanged", [notices](const std::shared_ptr<ZMessage>&) {
        notices->m_pending.emplace_back("topochanged");
    }) && m_request.Listen("nodesdisconnected", [notices](const std::shared_ptr<ZMessage>& message) {
        std::vector<std::string> uids;
        if (const auto* gone = dynamic_cast<const ZNodesDisconnectedMsg*>(message.get())) {
            for (const auto& uid : gone->m_nodeUIDs) {
                uids.push_back(ToStdString(uid));
            }
        }
        notices->m_pending.push_back("nodesdisconnected (" + ZTopologyReport::Joined(uids) + ")");
    });
    // Subscribed first: a change between the copy and the subscription would go unseen.
    m_pLast = subscribed ? m_request.FetchTopology(m_timeout) : nullptr;
    if (!m_pLast) {
        return false;
    }
    m_out << ClockNow() << " watching " << m_request.GetDiscoveryUID().c_str() << ": "
          << ZTopologyReport::Summary(*m_pLast) << std::endl;
    return true;
}

void ZTopoWatcher::Update(std::chrono::milliseconds slice) {
    const auto notices = m_pNotices;
    if (!m_request.Wait([&notices] { return !notices->m_pending.empty(); }, slice)) {
        return;
    }
    std::vector<std::string> reasons;
    m_request.WithLock([&notices, &reasons] { reasons.swap(notices->m_pending); });
    m_out << ClockNow() << " " << ZTopologyReport::Joined(reasons) << "\n";
    const auto now = m_request.FetchTopology(m_timeout);
    if (!now) {
        m_out << "  the discovery node did not answer within " << m_timeout.count()
              << " ms; still watching\n";
    } else {
        const ZTopologyDiff diff(*m_pLast, *now);
        diff.Print(m_out, "  ");
        if (diff.IsEmpty()) {
            m_out << "  the graph is as before\n";
        }
        m_pLast = now;
    }
    m_out.flush();
}
