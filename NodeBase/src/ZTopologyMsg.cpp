#include "NodeBase/ZTopologyMsg.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

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

namespace {

constexpr std::size_t kKept = static_cast<std::size_t>(-1);

// The ranks of the hosted UIDs (the order of their first node), asked for both ends of every edge
// of the graph: open addressing over a cheap hash of the UID's bytes, which most asks leave at the
// first slot since few UIDs are hosted.
class ZUidRanks {
public:
    explicit ZUidRanks(std::size_t expected) {
        std::size_t size = 8;
        while (size < 2 * expected) {
            size *= 2;
        }
        m_slots.resize(size);
        m_mask = size - 1;
    }

    // Gives the UID the next rank unless it has one.
    void Add(const ZNodeUID& uid) {
        const std::string_view text = View(uid);
        const std::uint64_t hash = Hash(text);
        Slot* slot = Probe(text, hash);
        if (slot->m_rank == kKept) {
            *slot = Slot{hash, text, m_count++};
        }
    }

    // The UID's rank, kKept when it is not hosted.
    std::size_t RankOf(const ZNodeUID& uid) const {
        const std::string_view text = View(uid);
        return Probe(text, Hash(text))->m_rank;
    }

    std::size_t Count() const { return m_count; }

private:
    struct Slot {
        std::uint64_t m_hash = 0;
        std::string_view m_text;
        std::size_t m_rank = kKept;  // kKept: free
    };

    static std::string_view View(const ZNodeUID& uid) {
        return std::string_view(uid.AsString().data(), uid.AsString().size());
    }

    // Eight bytes at a time, the tail read as two overlapping words; the length is mixed in, so
    // that overlaps cannot make two texts alike.
    static std::uint64_t Hash(std::string_view text) {
        constexpr std::uint64_t kMul = 0x9E3779B97F4A7C15ull;
        const char* p = text.data();
        std::size_t n = text.size();
        std::uint64_t hash = n * kMul;
        const auto mix = [&hash](std::uint64_t word) {
            hash = (hash ^ word) * kMul;
            hash ^= hash >> 29;
        };
        for (; n >= 8; n -= 8, p += 8) {
            std::uint64_t word;
            std::memcpy(&word, p, 8);
            mix(word);
        }
        if (n >= 4) {
            std::uint32_t head;
            std::uint32_t tail;
            std::memcpy(&head, p, 4);
            std::memcpy(&tail, p + n - 4, 4);
            mix(static_cast<std::uint64_t>(head) << 32 | tail);
        } else if (n > 0) {
            mix(static_cast<unsigned char>(p[0]) |
                static_cast<std::uint64_t>(static_cast<unsigned char>(p[n / 2])) << 8 |
                static_cast<std::uint64_t>(static_cast<unsigned char>(p[n - 1])) << 16);
        }
        return hash ^ (hash >> 32);
    }

    // The UID's slot, or the free slot where it would go.
    const Slot* Probe(std::string_view text, std::uint64_t hash) const {
        for (std::size_t i = hash & m_mask;; i = (i + 1) & m_mask) {
            const Slot& slot = m_slots[i];
            if (slot.m_rank == kKept || (slot.m_hash == hash && slot.m_text == text)) {
                return &slot;
            }
        }
    }
    Slot* Probe(std::string_view text, std::uint64_t hash) {
        return const_cast<Slot*>(static_cast<const ZUidRanks&>(*this).Probe(text, hash));
    }

    std::vector<Slot> m_slots;
    std::size_t m_mask = 0;
    std::size_t m_count = 0;
};

// Moves the records that stay forward over the removed ones (indexes in increasing order), from the
// first removed on, as std::remove_if does, and drops the rest.
template <class Record>
void Compact(ZVector<Record>& records, const std::vector<std::size_t>& removedIndexes) {
    if (removedIndexes.empty()) {
        return;
    }
    std::size_t kept = removedIndexes.front();
    std::size_t nextRemoved = 0;
    for (std::size_t i = kept; i < records.size(); ++i) {
        if (nextRemoved < removedIndexes.size() && removedIndexes[nextRemoved] == i) {
            ++nextRemoved;
            continue;
        }
        records[kept] = std::move(records[i]);
        ++kept;
    }
    records.erase(records.begin() + static_cast<std::ptrdiff_t>(kept), records.end());
}

}  // namespace

// Each edge goes with the first removed node (in graph order) that it touches, and is logged just
// before that node, as a node-by-node walk would; the lists are compacted in one pass each, so the
// removal costs O(nodes + edges) however many nodes the manager hosts. On a large graph the passes
// over the lists are what costs, and most of it is memory: each list is compacted right after the
// pass that reads it, while it is still in cache, and the edges are read from the back so that the
// compaction starts where that pass ended. What the log needs of the removed nodes is taken first.
void ZTopologyMsg::RemoveNodes(const ZNodeUID& nodeManagerUID, ZVector<ZNodeUID>& removed) {
    std::vector<std::size_t> hosted;
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        if (m_nodes[i].m_nodeManagerUID == nodeManagerUID) {
            hosted.push_back(i);
        }
    }
    if (hosted.empty()) {
        return;
    }
    const std::size_t firstRemoved = removed.size();
    removed.reserve(firstRemoved + hosted.size());
    std::vector<ZString> nodeTexts;
    const bool logging = ZLog::Enabled(m_logLevel, LOGLEVEL_PROGRESS);
    for (const std::size_t index : hosted) {
        removed.push_back(m_nodes[index].m_uid);
        if (logging) {
            nodeTexts.push_back(m_nodes[index].AsString());
        }
    }
    ZUidRanks ranks(hosted.size());
    for (std::size_t k = firstRemoved; k < removed.size(); ++k) {
        ranks.Add(removed[k]);
    }
    Compact(m_nodes, hosted);

    // The removed edges in graph order, and again by rank (each rank's in graph order): few, so
    // nothing as large as the graph is allocated.
    std::vector<std::size_t> removedEdges;
    std::vector<std::pair<std::size_t, std::size_t>> edgesByRank;
    for (std::size_t i = m_edges.size(); i-- > 0;) {
        const std::size_t rank =
            std::min(ranks.RankOf(m_edges[i].m_from.m_uid), ranks.RankOf(m_edges[i].m_to.m_uid));
        if (rank != kKept) {
            removedEdges.push_back(i);
            edgesByRank.emplace_back(rank, i);
        }
    }
    std::reverse(removedEdges.begin(), removedEdges.end());
    std::sort(edgesByRank.begin(), edgesByRank.end());

    // A UID hosted twice has a single rank: its edges go with its first node.
    if (logging) {
        std::size_t nextRank = 0;
        std::size_t nextEdge = 0;
        for (std::size_t k = 0; k < hosted.size(); ++k) {
            if (ranks.RankOf(removed[firstRemoved + k]) == nextRank) {
                for (; nextEdge < edgesByRank.size() && edgesByRank[nextEdge].first == nextRank; ++nextEdge) {
                    ZLOG(LOGLEVEL_PROGRESS, "Removing edge <%s>...",
                         m_edges[edgesByRank[nextEdge].second].AsString().c_str());
                }
                ++nextRank;
            }
            ZLOG(LOGLEVEL_PROGRESS, "Removing node <%s>...", nodeTexts[k].c_str());
        }
    }
    Compact(m_edges, removedEdges);
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
