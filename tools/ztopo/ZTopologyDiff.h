#pragma once

#include <ostream>
#include <string>
#include <vector>

class ZTopologyMsg;

// What changed between two views of the graph, one line per change: "+" added, "-" removed,
// "~" changed in place. Node managers come first, then nodes, connections and plug-ins, so that a
// node manager's departure reads before the nodes it took along.
class ZTopologyDiff {
public:
    ZTopologyDiff(const ZTopologyMsg& before, const ZTopologyMsg& after);

    bool IsEmpty() const { return m_lines.empty(); }
    const std::vector<std::string>& Lines() const { return m_lines; }
    void Print(std::ostream& out, const char* indent) const;

private:
    std::vector<std::string> m_lines;
};
