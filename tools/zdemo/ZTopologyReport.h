#pragma once

#include <ostream>
#include <string>

class ZTopologyMsg;

// The topology for people: an indented tree (node managers, their nodes, then the connections) and
// a Graphviz drawing with one cluster per node manager and the connections as labelled edges.
class ZTopologyReport {
public:
    explicit ZTopologyReport(const ZTopologyMsg& topology) : m_topology(topology) {}

    void PrintTree(std::ostream& out) const;
    bool WriteDot(const std::string& path) const;
    std::string Dot() const;

private:
    const ZTopologyMsg& m_topology;
};
