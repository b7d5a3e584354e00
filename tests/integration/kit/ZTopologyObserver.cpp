#include "ZTopologyObserver.h"

#include <algorithm>

#include "NodeBase/ZDiscoveryFindNodeMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZRemovalHistoryMsg.h"
#include "NodeBase/ZTopologyMsg.h"
#include "NodeComm/ZNodeCommMQTT.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/ZMakeShared.h"
#include "ZTopologyRequest.h"

namespace {

constexpr const char* kDiscoveryUID = "ZNodeDiscovery1";
constexpr std::chrono::milliseconds kAskAgainAfter{250};
// Answers to gettopo grow with the graph: as much as ztopo accepts.
constexpr std::int32_t kMaxAnswerBytes = 64 * 1024 * 1024;

template <class T>
const T* As(const std::shared_ptr<ZMessage>& message) {
    return dynamic_cast<const T*>(message.get());
}

}  // namespace

ZTopologyObserver::ZTopologyObserver(std::string brokerURL, std::string uid)
    : m_url(std::move(brokerURL)), m_uid(std::move(uid)) {}

ZTopologyObserver::~ZTopologyObserver() {
    m_pRequest.reset();
    if (m_pComm) {
        m_pComm->Disconnect();
    }
}

bool ZTopologyObserver::Connect(std::chrono::milliseconds timeout, std::string* error) {
    ZCommsParams params;
    params.TransportURL = m_url.c_str();
    params.nMaxMessageBytes = kMaxAnswerBytes;
    m_pComm = ZMakeShared<ZNodeCommMQTT>();
    std::string why;
    if (!m_pComm->Configure(params, m_uid)) {
        why = m_pComm->GetError();
    } else if (!m_pComm->Connect() || !m_pComm->WaitConnected(timeout)) {
        why = "broker <" + m_url + "> not reached";
    }
    if (!why.empty()) {
        if (error != nullptr) {
            *error = why;
        }
        return false;
    }
    m_pRequest = std::make_unique<ZTopologyRequest>(m_pComm, ZNodeUID(kDiscoveryUID), ZNodeUID(m_uid));
    // Listeners run on the transport's thread, under the request's lock.
    const bool listening = m_pRequest->Listen("topochanged", [this](const std::shared_ptr<ZMessage>&) {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_topoChanged;
        ++m_publications;
    }) && m_pRequest->Listen("nodesdisconnected", [this](const std::shared_ptr<ZMessage>& message) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (const auto* gone = As<ZNodesDisconnectedMsg>(message)) {
            for (const auto& uid : gone->m_nodeUIDs) {
                m_disconnected.emplace_back(uid.data(), uid.size());
            }
        }
        ++m_publications;
    }) && m_pRequest->Listen("removals", [this](const std::shared_ptr<ZMessage>& message) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (const auto* history = As<ZRemovalHistoryMsg>(message)) {
            m_removals.clear();
            for (const auto& record : history->m_records) {
                m_removals.emplace_back(record.m_nodeManagerUID.AsString().c_str(), record.m_reason.c_str());
                KeepRemoval(ZRemoval{m_removals.back().first, record.m_timeUs, m_removals.back().second});
            }
        }
        ++m_publications;
    });
    if (!listening && error != nullptr) {
        *error = "cannot subscribe to the discovery node's publications";
    }
    return listening;
}

std::shared_ptr<ZTopologyMsg> ZTopologyObserver::Topology(std::chrono::milliseconds timeout) {
    return m_pRequest ? m_pRequest->FetchTopology(timeout) : nullptr;
}

bool ZTopologyObserver::WaitForTopology(const std::function<bool(const ZTopologyMsg&)>& ready,
                                        std::chrono::milliseconds timeout) {
    if (!m_pRequest) {
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const std::size_t seen = m_publications.load();
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        auto topology =
            Topology(std::min(std::max(left, std::chrono::milliseconds(1)), std::chrono::milliseconds(2000)));
        if (topology && ready(*topology)) {
            return true;
        }
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline) {
            return false;
        }
        const auto pause =
            std::min(kAskAgainAfter, std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now));
        m_pRequest->Wait([this, seen] { return m_publications.load() != seen; }, pause);
    }
}

int ZTopologyObserver::FindNodeManager(const std::string& uid, std::chrono::milliseconds timeout) {
    if (!m_pRequest) {
        return -1;
    }
    auto request = ZMakeShared<ZDiscoveryFindNodeMsg>();
    request->m_nodeUID = uid.c_str();
    const auto answer = m_pRequest->Ask<ZGenericResponseMsg>("findnode", request, timeout);
    if (!answer) {
        return -1;
    }
    return answer->m_bSuccess ? 1 : 0;
}

std::size_t ZTopologyObserver::TopoChangedCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_topoChanged;
}

std::vector<std::string> ZTopologyObserver::DisconnectedUIDs() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_disconnected;
}

std::string ZTopologyObserver::RemovalReason(const std::string& nodeManagerUID) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_removals.rbegin(); it != m_removals.rend(); ++it) {
        if (it->first == nodeManagerUID) {
            return it->second;
        }
    }
    return std::string();
}

std::vector<std::string> ZTopologyObserver::RemovalReasons(const std::string& nodeManagerUID) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> reasons;
    for (const auto& [uid, reason] : m_removals) {
        if (uid == nodeManagerUID) {
            reasons.push_back(reason);
        }
    }
    return reasons;
}

void ZTopologyObserver::KeepRemoval(ZRemoval removal) {
    // Histories overlap: a record already kept comes again in every later history.
    const auto later =
        std::find_if(m_allRemovals.rbegin(), m_allRemovals.rend(),
                     [&removal](const ZRemoval& kept) { return kept.m_timeUs <= removal.m_timeUs; });
    for (auto it = later; it != m_allRemovals.rend() && it->m_timeUs == removal.m_timeUs; ++it) {
        if (it->m_nodeManagerUID == removal.m_nodeManagerUID && it->m_reason == removal.m_reason) {
            return;
        }
    }
    m_allRemovals.insert(later.base(), std::move(removal));
}

std::vector<ZTopologyObserver::ZRemoval> ZTopologyObserver::Removals() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_allRemovals;
}

std::size_t ZTopologyObserver::ConnectCount() const {
    return m_pComm ? static_cast<std::size_t>(m_pComm->GetStats().m_connects) : 0;
}

std::vector<std::string> ZTopologyObserver::Signature(const ZTopologyMsg& topology) {
    std::vector<std::string> lines;
    for (const auto& node : topology.m_nodes) {
        lines.push_back(std::string(node.m_uid.c_str()) + "@" + node.m_nodeManagerUID.c_str() + " " +
                        node.m_className.c_str());
    }
    for (const auto& edge : topology.m_edges) {
        lines.push_back(std::string(edge.m_from.AsString().c_str()) + " -> " + edge.m_to.AsString().c_str());
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

bool ZTopologyObserver::HasNode(const ZTopologyMsg& topology, const std::string& uid) {
    return topology.GetNode(ZNodeUID(uid)) != nullptr;
}
