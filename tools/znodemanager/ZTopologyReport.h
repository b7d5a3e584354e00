#pragma once

#include <ostream>
#include <string>
#include <vector>

class ZTopologyMsg;

// The topology for people: an indented tree (node managers, their nodes with the connections at
// each end, the groups, then every connection) and a Graphviz drawing with one cluster per node
// manager and the connections as labelled edges.
class ZTopologyReport {
public:
    explicit ZTopologyReport(const ZTopologyMsg& topology) : m_topology(topology) {}

    // "2 node managers, 5 nodes, 1 connection"
    static std::string Summary(const ZTopologyMsg& topology);
    // "a, b, c"
    static std::string Joined(const std::vector<std::string>& items);

    // Wide adds each node's aliases, log level and configuration file to its line.
    void PrintTree(std::ostream& out, bool wide = false) const;
    bool WriteDot(const std::string& path) const;
    std::string Dot() const;

private:
    void PrintNodesOf(std::ostream& out, const std::string& managerUID, bool wide) const;
    void PrintGroups(std::ostream& out) const;

    const ZTopologyMsg& m_topology;
};
