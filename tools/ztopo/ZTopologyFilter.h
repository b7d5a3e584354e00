#pragma once

#include <memory>
#include <string>

class ZTopologyMsg;

// The part of the graph that `show --group/--class/--manager` asks for: the nodes that pass every
// filter given, the node managers that host them (so the tree keeps its shape), and the
// connections that reach or leave a node that passed. No filter keeps the whole graph.
class ZTopologyFilter {
public:
    ZTopologyFilter(std::string group, std::string className, std::string manager);

    bool IsEmpty() const { return m_group.empty() && m_className.empty() && m_manager.empty(); }
    std::shared_ptr<ZTopologyMsg> Apply(const ZTopologyMsg& topology) const;

private:
    std::string m_group;
    std::string m_className;
    std::string m_manager;
};
