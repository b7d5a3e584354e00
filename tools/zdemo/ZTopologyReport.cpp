#include "ZTopologyReport.h"

#include <fstream>
#include <iomanip>
#include <sstream>

#include "NodeBase/ZTopologyMsg.h"

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

}  // namespace

void ZTopologyReport::PrintTree(std::ostream& out) const {
    std::string plugins;
    for (const auto& plugin : m_topology.m_plugins) {
        plugins += (plugins.empty() ? "" : ", ") + ToStdString(plugin);
    }
    out << "Topology (plug-ins: " << (plugins.empty() ? "none" : plugins) << ")\n";
    for (const auto& manager : m_topology.m_nodes) {
        if (!IsManager(manager)) {
            continue;
        }
        out << "  " << manager.m_uid.c_str() << "  (node manager, group " << Text(manager.m_group) << ")\n";
        for (const auto& node : m_topology.m_nodes) {
            if (IsManager(node) || node.m_nodeManagerUID != manager.m_uid) {
                continue;
            }
            out << "    " << std::left << std::setw(10) << Text(node.m_name) << " class " << std::setw(14)
                << Text(node.m_className) << " group " << std::setw(8) << Text(node.m_group) << " UID "
                << node.m_uid.c_str() << "\n";
        }
    }
    out << "Connections\n";
    if (m_topology.m_edges.empty()) {
        out << "  none\n";
    }
    for (const auto& edge : m_topology.m_edges) {
        out << "  " << edge.AsString().c_str() << "\n";
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
