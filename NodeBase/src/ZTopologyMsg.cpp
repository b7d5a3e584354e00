#include "NodeBase/ZTopologyMsg.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "ZMessages/ZCommStream.h"

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

    std::size_t nodeRank = 0;
    for (const auto& node : m_nodes) {
        if (node.m_nodeManagerUID != nodeManagerUID) {
            continue;
        }
        for (const std::size_t edge : edgesOfRank[nodeRank]) {
            ZLOG(LOGLEVEL_PROGRESS, "Removing edge <%s>...", m_edges[edge].AsString().c_str());
        }
        ZLOG(LOGLEVEL_PROGRESS, "Removing node <%s>...", node.AsString().c_str());
        removed.push_back(node.m_uid);
        ++nodeRank;
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
    for (const auto& node : m_nodes) {
        if (auto child = stream->CreateChild()) {
            node.Serialize(child);
            stream->SerializeArrayElement("nodes", child);
        }
    }
    for (const auto& edge : m_edges) {
        if (auto child = stream->CreateChild()) {
            edge.Serialize(child);
            stream->SerializeArrayElement("edges", child);
        }
    }
    return true;
}

namespace {
template <class Record>
void ReadList(const std::shared_ptr<ZCommStream>& stream, const char* key,
              const std::shared_ptr<ZEnvironment>& environment, ZVector<Record>& list) {
    std::shared_ptr<void> cursor;
    std::shared_ptr<ZCommStream> child = stream->CreateChild();
    bool first = true;
    while (child && stream->DeserializeArrayElement(key, child, cursor)) {
        if (first) {
            list.clear();
            first = false;
        }
        Record record;
        record.SetEnvironment(environment);
        record.Deserialize(child);
        list.push_back(std::move(record));
        child = stream->CreateChild();
    }
}
}  // namespace

bool ZTopologyMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (!stream) {
        return false;
    }
    stream->Deserialize("plugins", m_plugins);
    ReadList(stream, "nodes", m_pEnvironment, m_nodes);
    ReadList(stream, "edges", m_pEnvironment, m_edges);
    return true;
}
