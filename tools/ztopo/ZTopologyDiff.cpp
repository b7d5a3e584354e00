#include "ZTopologyDiff.h"

#include <map>

#include "NodeBase/ZTopologyMsg.h"

namespace {

bool IsManager(const ZTopologyNode& node) {
    return node.m_uid == node.m_nodeManagerUID;
}

std::string Text(const ZString& text) {
    return text.empty() ? "-" : ToStdString(text);
}

// What a node record says about the node, its UID aside; a change of any of it is reported.
std::string Attributes(const ZTopologyNode& node) {
    if (IsManager(node)) {
        return " (group " + Text(node.m_group) + ")";
    }
    return " (" + Text(node.m_name) + ", class " + Text(node.m_className) + ", group " + Text(node.m_group) +
           ") on " + node.m_nodeManagerUID.c_str();
}

std::string Describe(const ZTopologyNode& node) {
    return (IsManager(node) ? "node manager " : "node ") + std::string(node.m_uid.c_str()) + Attributes(node);
}

using ZNodesByUID = std::map<std::string, const ZTopologyNode*>;

ZNodesByUID ByUID(const ZTopologyMsg& graph) {
    ZNodesByUID nodes;
    for (const auto& node : graph.m_nodes) {
        nodes.emplace(node.m_uid.c_str(), &node);
    }
    return nodes;
}

std::map<std::string, int> Count(const std::vector<std::string>& items) {
    std::map<std::string, int> counts;
    for (const auto& item : items) {
        ++counts[item];
    }
    return counts;
}

// Lines for the items of `after` missing from `before` and the other way round, duplicates counted.
void Compare(const std::vector<std::string>& before, const std::vector<std::string>& after, const char* what,
             std::vector<std::string>& lines) {
    auto remaining = Count(after);
    for (const auto& item : before) {
        if (remaining[item]-- <= 0) {
            lines.push_back(std::string("- ") + what + item);
        }
    }
    auto removed = Count(before);
    for (const auto& item : after) {
        if (removed[item]-- <= 0) {
            lines.push_back(std::string("+ ") + what + item);
        }
    }
}

}  // namespace

ZTopologyDiff::ZTopologyDiff(const ZTopologyMsg& before, const ZTopologyMsg& after) {
    const ZNodesByUID old = ByUID(before);
    const ZNodesByUID now = ByUID(after);
    for (const bool managers : {true, false}) {
        for (const auto& node : before.m_nodes) {
            if (IsManager(node) == managers && now.count(node.m_uid.c_str()) == 0) {
                m_lines.push_back("- " + Describe(node));
            }
        }
        for (const auto& node : after.m_nodes) {
            const auto found = old.find(node.m_uid.c_str());
            if (IsManager(node) != managers) {
                continue;
            }
            if (found == old.end()) {
                m_lines.push_back("+ " + Describe(node));
            } else if (Attributes(*found->second) != Attributes(node)) {
                m_lines.push_back("~ " + Describe(node) + ", was" + Attributes(*found->second));
            }
        }
    }
    std::vector<std::string> oldEdges;
    std::vector<std::string> newEdges;
    for (const auto& edge : before.m_edges) {
        oldEdges.push_back(ToStdString(edge.AsString()));
    }
    for (const auto& edge : after.m_edges) {
        newEdges.push_back(ToStdString(edge.AsString()));
    }
    Compare(oldEdges, newEdges, "connection ", m_lines);
    std::vector<std::string> oldPlugins;
    std::vector<std::string> newPlugins;
    for (const auto& plugin : before.m_plugins) {
        oldPlugins.push_back(ToStdString(plugin));
    }
    for (const auto& plugin : after.m_plugins) {
        newPlugins.push_back(ToStdString(plugin));
    }
    Compare(oldPlugins, newPlugins, "plug-in ", m_lines);
}

void ZTopologyDiff::Print(std::ostream& out, const char* indent) const {
    for (const auto& line : m_lines) {
        out << indent << line << "\n";
    }
}
