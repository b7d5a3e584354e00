#include "NodeBase/ZTopologyMsg.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "ZMessages/ZCommStream.h"
#include "ZRecordArray.h"

ZTopologyMsg::ZTopologyMsg() : m_logSource(StaticClassName()) {}

ZTopologyMsg::~ZTopologyMsg() = default;

ZTopologyNode* ZTopologyMsg::GetNode(const ZNodeUID& uid) {
    for (auto& node : m_nodes) {
        if (node.m_uid == uid) {
            return &node;
        }
    }
    return nullptr;
}

const ZTopologyNode* ZTopologyMsg::GetNode(const ZNodeUID& uid) const {
    return const_cast<ZTopologyMsg*>(this)->GetNode(uid);
}

// Each edge goes with the first removed node (in graph order) that it touches, and is logged just
// before that node, as a node-by-node walk would; the lists are then compacted in one pass each, so
// the removal costs O(nodes + edges) however many nodes the manager hosts.
void ZTopologyMsg::RemoveNodes(const ZNodeUID& nodeManagerUID, ZVector<ZNodeUID>& removed) {
    std::unordered_map<std::string_view, std::size_t> rankOf;
    for (const auto& node : m_nodes) {
        if (node.m_nodeManagerUID == nodeManagerUID) {
            const ZString& uid = node.m_uid.AsString();
            rankOf.emplace(std::string_view(uid.data(), uid.size()), rankOf.size());
        }
    }
    if (rankOf.empty()) {
        return;
    }
    constexpr std::size_t kKept = static_cast<std::size_t>(-1);
    const auto rank = [&rankOf](const ZNodeUID& uid) {
        const auto found = rankOf.find(std::string_view(uid.AsString().data(), uid.AsString().size()));
        return found == rankOf.end() ? kKept : found->second;
    };
    std::vector<std::size_t> edgeRank(m_edges.size());
    std::vector<std::vector<std::size_t>> edgesOfRank(rankOf.size());
    for (std::size_t i = 0; i < m_edges.size(); ++i) {
        edgeRank[i] = std::min(rank(m_edges[i].m_from.m_uid), rank(m_edges[i].m_to.m_uid));
        if (edgeRank[i] != kKept) {
            edgesOfRank[edgeRank[i]].push_back(i);
        }
    }

    // A UID hosted twice has a single rank: its edges go with its first node.
    std::size_t nextRank = 0;
    for (const auto& node : m_nodes) {
        if (node.m_nodeManagerUID != nodeManagerUID) {
            continue;
        }
        if (rank(node.m_uid) == nextRank) {
            for (const std::size_t edge : edgesOfRank[nextRank]) {
                ZLOG(LOGLEVEL_PROGRESS, "Removing edge <%s>...", m_edges[edge].AsString().c_str());
            }
            ++nextRank;
        }
        ZLOG(LOGLEVEL_PROGRESS, "Removing node <%s>...", node.AsString().c_str());
        removed.push_back(node.m_uid);
    }

    std::size_t index = 0;
    m_edges.erase(std::remove_if(m_edges.begin(), m_edges.end(),
                                 [&](const ZTopologyEdge&) { return edgeRank[index++] != kKept; }),
                  m_edges.end());
    m_nodes.erase(
        std::remove_if(m_nodes.begin(), m_nodes.end(),
                       [&](const ZTopologyNode& node) { return node.m_nodeManagerUID == nodeManagerUID; }),
        m_nodes.end());
}

void ZTopologyMsg::RemoveEdges(const ZNodeUID& uid) {
    auto kept = m_edges.begin();
    for (auto edge = m_edges.begin(); edge != m_edges.end(); ++edge) {
        if (edge->m_to.m_uid == uid || edge->m_from.m_uid == uid) {
            ZLOG(LOGLEVEL_PROGRESS, "Removing edge <%s>...", edge->AsString().c_str());
            continue;
        }
        if (kept != edge) {
            *kept = std::move(*edge);
        }
        ++kept;
    }
    m_edges.erase(kept, m_edges.end());
}

bool ZTopologyMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    if (!stream) {
        return false;
    }
    stream->Serialize("plugins", m_plugins, false);
    ZRecordArray::Write(stream, "nodes", m_nodes);
    ZRecordArray::Write(stream, "edges", m_edges);
    return true;
}

bool ZTopologyMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (!stream) {
        return false;
    }
    stream->Deserialize("plugins", m_plugins);
    ZRecordArray::Read(stream, "nodes", m_pEnvironment, m_nodes);
    ZRecordArray::Read(stream, "edges", m_pEnvironment, m_edges);
    return true;
}
