#pragma once

#include <ostream>
#include <string>

class ZDiscoveryNodeManagersMsg;
class ZTopologyMsg;
class ZTopologyNode;

// `ztopo describe UID`: all that the graph and the registry say about one node or node manager, so
// that an operator need not piece it together from show, managers and history.
class ZNodeDescription {
public:
    // `managers` may be null (a discovery node that does not list node managers).
    ZNodeDescription(const ZTopologyMsg& topology, const ZDiscoveryNodeManagersMsg* managers,
                     const std::string& uid);

    bool IsKnown() const { return m_pNode != nullptr; }
    void Print(std::ostream& out) const;
    // {"uid", "kind", "record", "nodes" (a node manager's), "out", "in", "registration"}
    std::string JSON() const;

private:
    bool IsManager() const;

    const ZTopologyMsg& m_topology;
    const ZDiscoveryNodeManagersMsg* m_pManagers;
    const ZTopologyNode* m_pNode = nullptr;
};
