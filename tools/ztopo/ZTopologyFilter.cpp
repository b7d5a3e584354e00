#include "ZTopologyFilter.h"

#include <set>

#include "NodeBase/ZTopologyMsg.h"
#include "ZShared/ZMakeShared.h"

ZTopologyFilter::ZTopologyFilter(std::string group, std::string className, std::string manager)
    : m_group(std::move(group)), m_className(std::move(className)), m_manager(std::move(manager)) {}

std::shared_ptr<ZTopologyMsg> ZTopologyFilter::Apply(const ZTopologyMsg& topology) const {
    auto part = ZMakeShared<ZTopologyMsg>();
    part->m_plugins = topology.m_plugins;
    std::set<std::string> passed;
    std::set<std::string> hosts;
    for (const auto& node : topology.m_nodes) {
        // A node manager passes by its own group and class name (ZNodeManager), and is its own manager.
        const bool passes = (m_group.empty() || m_group == ToStdString(node.m_group)) &&
                            (m_className.empty() || m_className == ToStdString(node.m_className)) &&
                            (m_manager.empty() || m_manager == node.m_nodeManagerUID.c_str());
        if (passes) {
            passed.insert(node.m_uid.c_str());
            hosts.insert(node.m_nodeManagerUID.c_str());
        }
    }
    for (const auto& node : topology.m_nodes) {
        const std::string uid = node.m_uid.c_str();
        if (passed.count(uid) != 0 || (node.m_uid == node.m_nodeManagerUID && hosts.count(uid) != 0)) {
            part->m_nodes.push_back(node);
        }
    }
    for (const auto& edge : topology.m_edges) {
        if (passed.count(edge.m_from.m_uid.c_str()) != 0 || passed.count(edge.m_to.m_uid.c_str()) != 0) {
            part->m_edges.push_back(edge);
        }
    }
    return part;
}
