#include "ZHostConfig.h"

#include <fstream>
#include <nlohmann/json.hpp>

namespace {

constexpr const char* kDiscoveryUID = "ZNodeDiscovery1";

// A configuration set with the records whose values are given (not 0).
nlohmann::json ConfigSet(int deadTimeSecs, int maxMessageBytes = 0) {
    nlohmann::json records = nlohmann::json::array();
    if (deadTimeSecs > 0) {
        records.push_back({{"class", "ZSystemParams"}, {"NodeManagerTimeoutSecs", deadTimeSecs}});
    }
    if (maxMessageBytes > 0) {
        records.push_back({{"class", "ZCommsParams"}, {"nMaxMessageBytes", maxMessageBytes}});
    }
    return {{"class", "ZCoreConfigParams"}, {"ConfigParams", records}};
}

}  // namespace

ZHostConfig::ZHostConfig(std::string uid, std::string group)
    : m_uid(std::move(uid)), m_group(std::move(group)) {}

ZHostConfig& ZHostConfig::HostDiscovery(int deadTimeSecs) {
    m_discoveryDeadTimeSecs = deadTimeSecs;
    return *this;
}

ZHostConfig& ZHostConfig::AddNode(const std::string& className, const std::string& name,
                                  const std::string& uid, const std::string& group) {
    m_nodes.push_back(ZNodeEntry{className, name, uid, group});
    return *this;
}

ZHostConfig& ZHostConfig::Connect(const std::string& from, const std::string& to) {
    m_connections.emplace_back(from, to);
    return *this;
}

ZHostConfig& ZHostConfig::DeadTime(int secs) {
    m_deadTimeSecs = secs;
    return *this;
}

ZHostConfig& ZHostConfig::MaxMessageBytes(int bytes) {
    m_maxMessageBytes = bytes;
    return *this;
}

std::vector<std::string> ZHostConfig::NodeUIDs() const {
    std::vector<std::string> uids;
    for (const auto& node : m_nodes) {
        if (!node.m_uid.empty()) {
            uids.push_back(node.m_uid);
        }
    }
    return uids;
}

std::string ZHostConfig::JSON() const {
    nlohmann::json nodes = nlohmann::json::array();
    if (m_discoveryDeadTimeSecs > 0) {
        nodes.push_back({{"class", "ZNodeDiscovery"},
                         {"name", "discovery"},
                         {"uid", kDiscoveryUID},
                         {"group", m_group},
                         {"config", ConfigSet(m_discoveryDeadTimeSecs)}});
    }
    for (const auto& node : m_nodes) {
        nlohmann::json entry = {{"class", node.m_className}, {"name", node.m_name}, {"group", node.m_group}};
        if (!node.m_uid.empty()) {
            entry["uid"] = node.m_uid;
        }
        nodes.push_back(std::move(entry));
    }
    nlohmann::json connections = nlohmann::json::array();
    for (const auto& [from, to] : m_connections) {
        connections.push_back({{"from", from}, {"to", to}});
    }
    nlohmann::json config = {{"class", "ZNodeManagerConfig"}, {"UID", m_uid},   {"Group", m_group},
                             {"DiscoveryUID", kDiscoveryUID}, {"Nodes", nodes}, {"Connections", connections}};
    if (m_deadTimeSecs > 0 || m_maxMessageBytes > 0) {
        config["Config"] = ConfigSet(m_deadTimeSecs, m_maxMessageBytes);
    }
    return config.dump(2);
}

bool ZHostConfig::Write(const std::string& path) const {
    std::ofstream file(path, std::ios::trunc);
    file << JSON() << '\n';
    return static_cast<bool>(file);
}
