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
        // The table takes the low bits, which a multiply leaves poorly mixed (on UIDs that share a
        // prefix they hardly vary): a full finaliser spreads every input bit over them.
        hash ^= hash >> 33;
        hash *= 0xFF51AFD7ED558CCDull;
        hash ^= hash >> 33;
        hash *= 0xC4CEB9FE1A85EC53ull;
        return hash ^ (hash >> 33);
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

// Hints the cache to fetch a record a few places ahead of a walk: on a large graph the walks wait on
// memory, and the hardware's own prefetch does not look far enough ahead over records this big.
template <class Record>
inline void PrefetchAhead(const ZVector<Record>& records, std::size_t i) {
    constexpr std::size_t kAhead = 4;
    if (i + kAhead < records.size()) {
        const char* record = reinterpret_cast<const char*>(&records[i + kAhead]);
        for (std::size_t line = 0; line < sizeof(Record); line += 64) {
            __builtin_prefetch(record + line);
        }
    }
}

}  // namespace

// One pass over the nodes and one over the edges, each deciding and compacting as it goes (the
// records that stay are moved forward, as std::remove_if does), so the removal costs
// O(nodes + edges) however many nodes the manager hosts, and a large graph is read from memory once.
// Each edge goes with the first removed node (in graph order) that it touches, and is logged just
// before that node, as a node-by-node walk would; what the log needs of a removed record is taken
// before the record is overwritten.
void ZTopologyMsg::RemoveNodes(const ZNodeUID& nodeManagerUID, ZVector<ZNodeUID>& removed) {
    const bool logging = ZLog::Enabled(m_logLevel, LOGLEVEL_PROGRESS);
    const std::size_t firstRemoved = removed.size();
    std::vector<ZString> nodeTexts;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        PrefetchAhead(m_nodes, i);
        ZTopologyNode& node = m_nodes[i];
        if (node.m_nodeManagerUID == nodeManagerUID) {
            if (logging) {
                nodeTexts.push_back(node.AsString());
            }
            removed.push_back(std::move(node.m_uid));
            continue;
        }
        if (kept != i) {
            m_nodes[kept] = std::move(node);
        }
        ++kept;
    }
    const std::size_t hostedCount = removed.size() - firstRemoved;
    if (hostedCount == 0) {
        return;
    }
    m_nodes.erase(m_nodes.begin() + static_cast<std::ptrdiff_t>(kept), m_nodes.end());

    ZUidRanks ranks(hostedCount);
    for (std::size_t k = firstRemoved; k < removed.size(); ++k) {
        ranks.Add(removed[k]);
    }
    // The removed edges' texts by rank, each rank's in graph order; only when they are logged.
    std::vector<std::pair<std::size_t, ZString>> edgesByRank;
    kept = 0;
    for (std::size_t i = 0; i < m_edges.size(); ++i) {
        PrefetchAhead(m_edges, i);
        ZTopologyEdge& edge = m_edges[i];
        const std::size_t rank = std::min(ranks.RankOf(edge.m_from.m_uid), ranks.RankOf(edge.m_to.m_uid));
        if (rank != kKept) {
            if (logging) {
                edgesByRank.emplace_back(rank, edge.AsString());
            }
            continue;
        }
        if (kept != i) {
            m_edges[kept] = std::move(edge);
        }
        ++kept;
    }
    m_edges.erase(m_edges.begin() + static_cast<std::ptrdiff_t>(kept), m_edges.end());
    if (!logging) {
        return;
    }

    // A UID hosted twice has a single rank: its edges go with its first node.
    std::stable_sort(edgesByRank.begin(), edgesByRank.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::size_t nextRank = 0;
    std::size_t nextEdge = 0;
    for (std::size_t k = 0; k < hostedCount; ++k) {
        if (ranks.RankOf(removed[firstRemoved + k]) == nextRank) {
            for (; nextEdge < edgesByRank.size() && edgesByRank[nextEdge].first == nextRank; ++nextEdge) {
                ZLOG(LOGLEVEL_PROGRESS, "Removing edge <%s>...", edgesByRank[nextEdge].second.c_str());
            }
            ++nextRank;
        }
        ZLOG(LOGLEVEL_PROGRESS, "Removing node <%s>...", nodeTexts[k].c_str());
    }
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
