#include "ZNodeDescription.h"

#include <nlohmann/json.hpp>
#include <vector>

#include "NodeBase/ZDiscoveryNodeManagersMsg.h"
#include "NodeBase/ZTopologyMsg.h"
#include "ZCoreConfigs/ZConfig.h"
#include "ZManagersReport.h"
#include "ZShared/ZLog.h"

namespace {

std::string Text(const ZString& text) {
    return text.empty() ? "-" : ToStdString(text);
}

// The value of a JSON text, or null when it is none.
nlohmann::ordered_json Parsed(const std::string& text) {
    return nlohmann::ordered_json::parse(text, nullptr, false);
}

}  // namespace

ZNodeDescription::ZNodeDescription(const ZTopologyMsg& topology, const ZDiscoveryNodeManagersMsg* managers,
                                   const std::string& uid)
    : m_topology(topology), m_pManagers(managers), m_pNode(topology.GetNode(ZNodeUID(uid))) {}

bool ZNodeDescription::IsManager() const {
    return m_pNode != nullptr && m_pNode->m_uid == m_pNode->m_nodeManagerUID;
}

void ZNodeDescription::Print(std::ostream& out) const {
    if (m_pNode == nullptr) {
        return;
    }
    const ZTopologyNode& node = *m_pNode;
    out << node.m_uid.c_str() << "  " << (IsManager() ? "node manager" : "node") << "\n";
    std::vector<std::vector<std::string>> rows;
    if (!IsManager()) {
        rows.push_back({"name", Text(node.m_name)});
        rows.push_back({"class", Text(node.m_className)});
    }
    rows.push_back({"group", Text(node.m_group)});
    if (IsManager()) {
        std::vector<std::string> nodes;
        for (const auto& hosted : m_topology.m_nodes) {
            if (hosted.m_nodeManagerUID == node.m_uid && hosted.m_uid != node.m_uid) {
                nodes.emplace_back(hosted.m_uid.c_str());
            }
        }
        std::string list;
        for (const auto& uid : nodes) {
            list += (list.empty() ? "" : ", ") + uid;
        }
        rows.push_back({"nodes", list.empty() ? "none" : list});
    } else {
        rows.push_back({"node manager", node.m_nodeManagerUID.c_str()});
    }
    std::string aliases;
    for (const auto& alias : node.m_aliases) {
        aliases += (aliases.empty() ? "" : ", ") + ToStdString(alias);
    }
    rows.push_back({"aliases", aliases.empty() ? "-" : aliases});
    rows.push_back({"log level", ZLog::LogLevelToString(node.m_nodeLogLevel)});
    std::string config = Text(node.m_configFileName);
    if (node.m_pConfig) {
        config += std::string(" (") + node.m_pConfig->ClassName() + ")";
    }
    rows.push_back({"config", config});
    bool connected = false;
    for (const auto& edge : m_topology.m_edges) {
        if (edge.m_from.m_uid == node.m_uid) {
            rows.push_back({"out", ToStdString(edge.AsString())});
            connected = true;
        }
    }
    for (const auto& edge : m_topology.m_edges) {
        if (edge.m_to.m_uid == node.m_uid) {
            rows.push_back({"in", ToStdString(edge.AsString())});
            connected = true;
        }
    }
    if (!connected) {
        rows.push_back({"connections", "none"});
    }
    if (IsManager()) {
        if (m_pManagers == nullptr) {
            rows.push_back({"registry", "not asked"});
        } else if (!ZManagersReport(*m_pManagers).AddRegistration(node.m_uid.c_str(), rows)) {
            rows.push_back({"registry", "not registered"});
        }
    }
    ZManagersReport::PrintColumns(out, rows, "  ");
}

std::string ZNodeDescription::JSON() const {
    if (m_pNode == nullptr) {
        return "null";
    }
    const ZTopologyNode& node = *m_pNode;
    nlohmann::ordered_json description;
    description["uid"] = node.m_uid.c_str();
    description["kind"] = IsManager() ? "node manager" : "node";
    description["record"] = Parsed(ZManagersReport::JSON(node));
    if (IsManager()) {
        auto nodes = nlohmann::ordered_json::array();
        for (const auto& hosted : m_topology.m_nodes) {
            if (hosted.m_nodeManagerUID == node.m_uid && hosted.m_uid != node.m_uid) {
                nodes.push_back(hosted.m_uid.c_str());
            }
        }
        description["nodes"] = nodes;
    }
    auto out = nlohmann::ordered_json::array();
    auto in = nlohmann::ordered_json::array();
    for (const auto& edge : m_topology.m_edges) {
        if (edge.m_from.m_uid == node.m_uid) {
            out.push_back(ToStdString(edge.AsString()));
        }
        if (edge.m_to.m_uid == node.m_uid) {
            in.push_back(ToStdString(edge.AsString()));
        }
    }
    description["out"] = out;
    description["in"] = in;
    if (IsManager()) {
        const ZNodeManagerRecord* record = m_pManagers ? m_pManagers->Find(node.m_uid) : nullptr;
        description["registration"] =
            record ? Parsed(ZManagersReport::RecordJSON(*record)) : nlohmann::ordered_json();
        description["bLockHolder"] = m_pManagers != nullptr && m_pManagers->m_lockHolderUID == node.m_uid;
    }
    return description.dump(2);
}
