#pragma once

#include <string>
#include <vector>

// The configuration of one znodemanager process, written as the JSON file that the program reads
// (docs/configuration.md). Node managers get a dead time of their own so that their sign of life
// (every third of it) keeps pace with a discovery node that uses a short one.
class ZHostConfig {
public:
    explicit ZHostConfig(std::string uid, std::string group = std::string());

    // Hosts the discovery node ("ZNodeDiscovery1"), whose liveness monitor uses this dead time.
    ZHostConfig& HostDiscovery(int deadTimeSecs);
    // A hosted node; an empty UID lets the discovery node number it.
    ZHostConfig& AddNode(const std::string& className, const std::string& name,
                         const std::string& uid = std::string(), const std::string& group = std::string());
    ZHostConfig& Connect(const std::string& from, const std::string& to);
    // The manager's own NodeManagerTimeoutSecs.
    ZHostConfig& DeadTime(int secs);
    // The transport's nMaxMessageBytes: a discovery host of a large graph answers gettopo with more
    // than the default allows.
    ZHostConfig& MaxMessageBytes(int bytes);

    const std::string& UID() const { return m_uid; }
    bool HostsDiscovery() const { return m_discoveryDeadTimeSecs > 0; }
    // The UIDs of the hosted nodes that have one, the discovery node's left out.
    std::vector<std::string> NodeUIDs() const;
    std::string JSON() const;
    bool Write(const std::string& path) const;

private:
    struct ZNodeEntry {
        std::string m_className;
        std::string m_name;
        std::string m_uid;
        std::string m_group;
    };

    std::string m_uid;
    std::string m_group;
    int m_discoveryDeadTimeSecs = 0;  // 0: no discovery node hosted
    int m_deadTimeSecs = 0;           // 0: the framework's default
    int m_maxMessageBytes = 0;        // 0: the framework's default
    std::vector<ZNodeEntry> m_nodes;
    std::vector<std::pair<std::string, std::string>> m_connections;
};
