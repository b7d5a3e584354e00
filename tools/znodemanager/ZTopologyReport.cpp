#include "ZTopologyReport.h"

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>
#include <vector>

#include "NodeBase/ZTopologyMsg.h"
#include "ZShared/ZLog.h"

namespace {

bool IsManager(const ZTopologyNode& node) {
    return node.m_uid == node.m_nodeManagerUID;
}

// A double-quoted Graphviz identifier or label; a label's "\n" stays a line break.
std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"') {
            quoted += '\\';
        }
        quoted += c;
    }
    return quoted + "\"";
}

std::string Text(const ZString& text, const char* empty = "-") {
    return text.empty() ? empty : ToStdString(text);
}

std::string EdgeText(const ZTopologyEdge& edge) {
    std::string text = ToStdString(edge.AsString());
    if (!edge.m_fromGroup.empty() || !edge.m_toGroup.empty()) {
        text += "  (groups " + Text(edge.m_fromGroup) + " -> " + Text(edge.m_toGroup) + ")";
    }
    return text;
}

std::string Counted(std::size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

std::string ZTopologyReport::Summary(const ZTopologyMsg& topology) {
    std::size_t managers = 0;
    for (const auto& node : topology.m_nodes) {
        managers += IsManager(node) ? 1 : 0;
    }
    return Counted(managers, "node manager") + ", " + Counted(topology.m_nodes.size() - managers, "node") +
           ", " + Counted(topology.m_edges.size(), "connection");
}

void ZTopologyReport::PrintTree(std::ostream& out, bool wide) const {
    std::vector<std::string> plugins;
    std::set<std::string> managers;
    for (const auto& plugin : m_topology.m_plugins) {
        plugins.push_back(ToStdString(plugin));
    }
    for (const auto& node : m_topology.m_nodes) {
        if (IsManager(node)) {
            managers.insert(node.m_uid.c_str());
        }
    }
    out << "Topology: " << Summary(m_topology)
        << " (plug-ins: " << (plugins.empty() ? "none" : Joined(plugins)) << ")\n";
    for (const auto& manager : m_topology.m_nodes) {
        if (IsManager(manager)) {
            out << "  " << manager.m_uid.c_str() << "  (node manager, group " << Text(manager.m_group)
                << ")\n";
            PrintNodesOf(out, manager.m_uid.c_str(), wide);
        }
    }
    // Nodes whose manager has no record of its own are still shown, under the UID they name.
    std::set<std::string> orphanManagers;
    for (const auto& node : m_topology.m_nodes) {
        const std::string manager = node.m_nodeManagerUID.c_str();
        if (!IsManager(node) && managers.count(manager) == 0 && orphanManagers.insert(manager).second) {
            out << "  " << Text(node.m_nodeManagerUID.AsString()) << "  (node manager not in the graph)\n";
            PrintNodesOf(out, manager, wide);
        }
    }
    PrintGroups(out);
    out << "Connections\n";
    if (m_topology.m_edges.empty()) {
        out << "  none\n";
    }
    for (const auto& edge : m_topology.m_edges) {
        out << "  " << EdgeText(edge) << "\n";
    }
}

void ZTopologyReport::PrintNodesOf(std::ostream& out, const std::string& managerUID, bool wide) const {
    for (const auto& node : m_topology.m_nodes) {
        if (IsManager(node) || managerUID != node.m_nodeManagerUID.c_str()) {
            continue;
        }
        out << "    " << std::left << std::setw(10) << Text(node.m_name) << " class " << std::setw(14)
            << Text(node.m_className) << " group " << std::setw(8) << Text(node.m_group) << " UID "
            << node.m_uid.c_str();
        if (wide) {
            std::vector<std::string> aliases;
            for (const auto& alias : node.m_aliases) {
                aliases.push_back(ToStdString(alias));
            }
            out << "  aliases " << (aliases.empty() ? "-" : Joined(aliases)) << "  log level "
                << ZLog::LogLevelToString(node.m_nodeLogLevel) << "  config " << Text(node.m_configFileName);
        }
        out << "\n";
        for (const auto& edge : m_topology.m_edges) {
            if (edge.m_from.m_uid == node.m_uid) {
                out << "      out " << EdgeText(edge) << "\n";
            }
            if (edge.m_to.m_uid == node.m_uid) {
                out << "      in  " << EdgeText(edge) << "\n";
            }
        }
    }
}

void ZTopologyReport::PrintGroups(std::ostream& out) const {
    struct ZMembers {
        std::vector<std::string> m_managers;
        std::vector<std::string> m_nodes;
    };
    std::map<std::string, ZMembers> groups;
    for (const auto& node : m_topology.m_nodes) {
        auto& members = groups[Text(node.m_group)];
        (IsManager(node) ? members.m_managers : members.m_nodes).emplace_back(node.m_uid.c_str());
    }
    std::size_t width = 0;
    for (const auto& entry : groups) {
        width = std::max(width, entry.first.size());
    }
    out << "Groups\n";
    if (groups.empty()) {
        out << "  none\n";
    }
    for (const auto& [group, members] : groups) {
        out << "  " << std::left << std::setw(static_cast<int>(width)) << group;
        if (!members.m_managers.empty()) {
            out << "  node managers: " << Joined(members.m_managers);
        }
        if (!members.m_nodes.empty()) {
            out << "  nodes: " << Joined(members.m_nodes);
        }
        out << "\n";
    }
}

std::string ZTopologyReport::Dot() const {
    std::ostringstream dot;
    dot << "digraph topology {\n  rankdir=LR;\n  node [shape=box, fontname=\"Helvetica\"];\n";
    for (const auto& manager : m_topology.m_nodes) {
        if (!IsManager(manager)) {
            continue;
        }
        const std::string uid = manager.m_uid.c_str();
        dot << "  subgraph " << Quoted("cluster_" + uid) << " {\n    label=" << Quoted(uid) << ";\n";
        dot << "    " << Quoted(uid) << " [shape=ellipse, label=" << Quoted(uid + "\\nnode manager")
            << "];\n";
        for (const auto& node : m_topology.m_nodes) {
            if (IsManager(node) || node.m_nodeManagerUID != manager.m_uid) {
                continue;
            }
            const std::string label = ToStdString(node.m_name) + "\\n" + ToStdString(node.m_className) +
                                      "\\n" + node.m_uid.c_str() + " (" + Text(node.m_group) + ")";
            dot << "    " << Quoted(node.m_uid.c_str()) << " [label=" << Quoted(label) << "];\n";
        }
        dot << "  }\n";
    }
    for (const auto& edge : m_topology.m_edges) {
        const std::string label = ToStdString(edge.m_from.m_name) + " -> " + ToStdString(edge.m_to.m_name);
        dot << "  " << Quoted(edge.m_from.m_uid.c_str()) << " -> " << Quoted(edge.m_to.m_uid.c_str())
            << " [label=" << Quoted(label) << "];\n";
    }
    dot << "}\n";
    return dot.str();
}

bool ZTopologyReport::WriteDot(const std::string& path) const {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << Dot();
    return static_cast<bool>(file);
}

std::string ZTopologyReport::Joined(const std::vector<std::string>& items) {
    std::string joined;
    for (const auto& item : items) {
        joined += (joined.empty() ? "" : ", ") + item;
    }
    return joined;
}
