#pragma once

#include <string>
#include <vector>

class ZTopologyMsg;

// The discovery node's graph as plain text, the form the invariants are checked on.
struct ZGraph {
    struct ZNode {
        std::string m_uid;
        std::string m_name;
        std::string m_className;
        std::string m_managerUID;
    };
    struct ZEdge {
        std::string m_from;
        std::string m_to;
    };

    std::vector<ZNode> m_nodes;
    std::vector<ZEdge> m_edges;

    static ZGraph From(const ZTopologyMsg& topology);
    std::size_t ManagerCount() const;
};
