#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "NodeBase/ZTopologyMsg.h"

// What the lookups ("findnode", "finduid") and the checks of registration and connection search the
// graph for, kept beside it so that their cost does not grow with the graph. The discovery node tells
// it of each record it appends; anything else that changes the list of nodes (a removal, a test or a
// benchmark editing the graph) makes it stale, and a stale index rebuilds itself before it answers:
// it is told so (Invalidate), or finds the list of another length or a record not where it expects.
// Every answer is the one a walk of the graph in order would give.
class ZTopologyIndex {
public:
    // The graph is the discovery node's own pointer, read at each use.
    explicit ZTopologyIndex(const std::shared_ptr<ZTopologyMsg>& graph);

    // The graph's last node record was just appended.
    void Appended();
    // Records were removed or changed.
    void Invalidate() { m_bValid = false; }

    // The first record with the UID, or null.
    const ZTopologyNode* Find(const ZNodeUID& uid);
    // Whether the graph holds the node manager's own record (its UID as node and as node manager).
    bool HasManagerRecord(const ZString& uid);
    // The first record of the class within the group, else the first of the class, in graph order;
    // null when the class has none. An empty group takes the first of the class.
    const ZTopologyNode* FindByClass(const ZString& className, const ZString& group);

private:
    struct ZHash {
        std::size_t operator()(const ZString& text) const {
            return std::hash<std::string_view>()(std::string_view(text.data(), text.size()));
        }
    };
    using ZPositions = std::unordered_map<ZString, std::size_t, ZHash>;

    // Rebuilds when stale; true when it had to.
    bool Refresh();
    void Rebuild();
    void Add(std::size_t position);
    // The record at the position when it still carries the key, else null.
    const ZTopologyNode* At(std::size_t position) const;

    const std::shared_ptr<ZTopologyMsg>& m_pGraph;
    const ZTopologyMsg* m_pIndexed = nullptr;
    bool m_bValid = false;
    std::size_t m_count = 0;
    ZPositions m_firstOfUID;
    ZPositions m_firstOfClass;
    ZPositions m_firstOfClassInGroup;  // key: class, '\n', group
    std::unordered_set<ZString, ZHash> m_managerRecords;
};
