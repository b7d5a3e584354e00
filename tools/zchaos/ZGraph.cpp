#include "ZGraph.h"

#include <algorithm>

#include "NodeBase/ZTopologyMsg.h"

ZGraph ZGraph::From(const ZTopologyMsg& topology) {
    ZGraph graph;
    for (const auto& node : topology.m_nodes) {
        graph.m_nodes.push_back(ZNode{node.m_uid.c_str(), node.m_name.c_str(), node.m_className.c_str(),
                                      node.m_nodeManagerUID.c_str()});
    }
    for (const auto& edge : topology.m_edges) {
        graph.m_edges.push_back(ZEdge{edge.m_from.AsString().c_str(), edge.m_to.AsString().c_str()});
    }
    return graph;
}

std::size_t ZGraph::ManagerCount() const {
    return static_cast<std::size_t>(std::count_if(m_nodes.begin(), m_nodes.end(), [](const ZNode& node) {
        return node.m_className == "ZNodeManager" && node.m_uid == node.m_managerUID;
    }));
}
