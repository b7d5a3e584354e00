#include "ZTopoWatcher.h"

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>

#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZOnlineStatusMsg.h"
#include "NodeBase/ZRemovalHistoryMsg.h"
#include "NodeBase/ZTopologyMsg.h"
#include "ZManagersReport.h"
#include "ZTopologyDiff.h"
#include "ZTopologyReport.h"
#include "ZTopologyRequest.h"

// A publication of the discovery node, or an event of its online status.
struct ZTopoWatcher::ZNotice {
    std::string m_kind;  // topochanged, nodesdisconnected; offline, online, restarted
    std::vector<std::string> m_uids;
    std::string m_reason;
    std::string m_hostUID;
    std::int64_t m_startID = 0;
};

// Filled by the listeners on the transport's thread and emptied by Update, both under the
// request's waiting lock.
struct ZTopoWatcher::ZNotices {
    std::vector<ZNotice> m_pending;
    std::vector<ZNotice> m_events;
    std::shared_ptr<ZRemovalHistoryMsg> m_pRemovals;
    bool m_bStatusSeen = false;
    bool m_bOnline = false;
    std::int64_t m_startID = 0;

    // The first status only tells where things stand; every later one is an event.
    void OnStatus(const ZOnlineStatusMsg& status) {
        if (m_bStatusSeen) {
            ZNotice event;
            event.m_kind = !status.m_bOnline               ? "offline"
                           : status.m_startID != m_startID ? "restarted"
                                                           : "online";
            event.m_hostUID = status.m_nodeManagerUID.c_str();
            event.m_startID = status.m_startID;
            // The retained status again, as after a reconnection, is no event.
            if (status.m_bOnline != m_bOnline || status.m_startID != m_startID) {
                m_events.push_back(event);
            }
        }
        m_bStatusSeen = true;
        m_bOnline = status.m_bOnline;
        m_startID = status.m_startID;
    }
};

namespace {

std::string WallClockNow() {
    return ZManagersReport::IsoTime(std::chrono::duration_cast<std::chrono::microseconds>(
                                        std::chrono::system_clock::now().time_since_epoch())
                                        .count());
}

std::string NoticeText(const std::string& kind, const std::vector<std::string>& uids,
                       const std::string& reason) {
    std::string text = kind;
    if (kind == "nodesdisconnected") {
        text += " (" + ZTopologyReport::Joined(uids) + ")";
    }
    if (!reason.empty()) {
        text += " reason: " + reason;
    }
    return text;
}

}  // namespace

ZTopoWatcher::ZTopoWatcher(ZTopologyRequest& request, std::ostream& out, std::chrono::milliseconds timeout)
    : m_request(request), m_out(out), m_timeout(timeout), m_pNotices(std::make_shared<ZNotices>()) {}

ZTopoWatcher::~ZTopoWatcher() = default;

bool ZTopoWatcher::Start() {
    const auto notices = m_pNotices;
    const bool subscribed = m_request.Listen("topochanged", [notices](const std::shared_ptr<ZMessage>&) {
        notices->m_pending.push_back(ZNotice{"topochanged", {}, {}, {}, 0});
    }) && m_request.Listen("nodesdisconnected", [notices](const std::shared_ptr<ZMessage>& message) {
        ZNotice notice{"nodesdisconnected", {}, {}, {}, 0};
        if (const auto* gone = dynamic_cast<const ZNodesDisconnectedMsg*>(message.get())) {
            for (const auto& uid : gone->m_nodeUIDs) {
                notice.m_uids.push_back(ToStdString(uid));
            }
        }
        notices->m_pending.push_back(notice);
    }) && m_request.Listen("removals", [notices](const std::shared_ptr<ZMessage>& message) {
        if (auto removals = std::dynamic_pointer_cast<ZRemovalHistoryMsg>(message)) {
            notices->m_pRemovals = std::move(removals);
        }
    }) && m_request.Listen("online", [notices](const std::shared_ptr<ZMessage>& message) {
        if (const auto* status = dynamic_cast<const ZOnlineStatusMsg*>(message.get())) {
            notices->OnStatus(*status);
        }
    });
    // Subscribed first: a change between the copy and the subscription would go unseen.
    m_pLast = subscribed ? m_request.FetchTopology(m_timeout) : nullptr;
    if (!m_pLast) {
        return false;
    }
    // Removals recorded before watching began are history, not news.
    std::vector<ZNotice> none;
    AddReasons(none);
    m_request.WithLock([&notices] { notices->m_events.clear(); });
    if (IsJSON()) {
        std::size_t managers = 0;
        for (const auto& node : m_pLast->m_nodes) {
            managers += node.m_uid == node.m_nodeManagerUID ? 1 : 0;
        }
        nlohmann::ordered_json line{{"time", WallClockNow()},
                                    {"event", "watching"},
                                    {"discovery", m_request.GetDiscoveryUID().c_str()},
                                    {"nodeManagers", managers},
                                    {"nodes", m_pLast->m_nodes.size() - managers},
                                    {"connections", m_pLast->m_edges.size()}};
        m_out << line.dump() << std::endl;
    } else {
        m_out << WallClockNow() << " watching " << m_request.GetDiscoveryUID().c_str() << ": "
              << ZTopologyReport::Summary(*m_pLast) << std::endl;
    }
    return true;
}

void ZTopoWatcher::AddReasons(std::vector<ZNotice>& notices) {
    std::shared_ptr<ZRemovalHistoryMsg> removals;
    m_request.WithLock([this, &removals] { removals = m_pNotices->m_pRemovals; });
    if (!removals) {
        return;
    }
    std::int64_t latest = m_lastRemovalUs;
    for (const auto& record : removals->m_records) {
        if (record.m_timeUs <= m_lastRemovalUs) {
            continue;
        }
        latest = std::max(latest, record.m_timeUs);
        for (auto& notice : notices) {
            const auto& uids = notice.m_uids;
            if (notice.m_kind == "nodesdisconnected" && notice.m_reason.empty() &&
                std::find(uids.begin(), uids.end(), record.m_nodeManagerUID.c_str()) != uids.end()) {
                notice.m_reason = record.m_reason.empty() ? "request" : ToStdString(record.m_reason);
                break;
            }
        }
    }
    m_lastRemovalUs = latest;
}

void ZTopoWatcher::PrintEvent(const ZNotice& event) {
    if (IsJSON()) {
        nlohmann::ordered_json line{{"time", WallClockNow()},
                                    {"event", event.m_kind},
                                    {"discovery", m_request.GetDiscoveryUID().c_str()},
                                    {"nodeManagerUID", event.m_hostUID},
                                    {"startID", event.m_startID}};
        m_out << line.dump() << "\n";
        return;
    }
    m_out << WallClockNow() << " discovery node " << m_request.GetDiscoveryUID().c_str() << " "
          << event.m_kind << " (host " << (event.m_hostUID.empty() ? "-" : event.m_hostUID);
    if (event.m_kind == "restarted") {
        m_out << ", start ID " << event.m_startID;
    }
    m_out << ")\n";
}

void ZTopoWatcher::PrintBlock(const std::vector<ZNotice>& notices, const std::vector<std::string>& changes,
                              bool answered) {
    if (IsJSON()) {
        auto list = nlohmann::ordered_json::array();
        for (const auto& notice : notices) {
            nlohmann::ordered_json item{{"notice", notice.m_kind}};
            if (notice.m_kind == "nodesdisconnected") {
                item["uids"] = notice.m_uids;
            }
            if (!notice.m_reason.empty()) {
                item["reason"] = notice.m_reason;
            }
            list.push_back(item);
        }
        nlohmann::ordered_json line{{"time", WallClockNow()},
                                    {"event", "change"},
                                    {"notices", list},
                                    {"bAnswered", answered},
                                    {"changes", changes}};
        m_out << line.dump() << "\n";
        return;
    }
    std::vector<std::string> texts;
    for (const auto& notice : notices) {
        texts.push_back(NoticeText(notice.m_kind, notice.m_uids, notice.m_reason));
    }
    m_out << WallClockNow() << " " << ZTopologyReport::Joined(texts) << "\n";
    if (!answered) {
        m_out << "  the discovery node did not answer within " << m_timeout.count()
              << " ms; still watching\n";
        return;
    }
    for (const auto& change : changes) {
        m_out << "  " << change << "\n";
    }
    if (changes.empty()) {
        m_out << "  the graph is as before\n";
    }
}

void ZTopoWatcher::Update(std::chrono::milliseconds slice) {
    const auto notices = m_pNotices;
    if (!m_request.Wait([&notices] { return !notices->m_pending.empty() || !notices->m_events.empty(); },
                        slice)) {
        return;
    }
    std::vector<ZNotice> events;
    m_request.WithLock([&notices, &events] { events.swap(notices->m_events); });
    for (const auto& event : events) {
        PrintEvent(event);
    }
    std::vector<ZNotice> pending;
    m_request.WithLock([&notices, &pending] { pending.swap(notices->m_pending); });
    if (!pending.empty()) {
        // The graph comes after the removal history the same removal published.
        const auto now = m_request.FetchTopology(m_timeout);
        AddReasons(pending);
        std::vector<std::string> changes;
        if (now) {
            changes = ZTopologyDiff(*m_pLast, *now).Lines();
            m_pLast = now;
        }
        PrintBlock(pending, changes, now != nullptr);
    }
    m_out.flush();
}
