#pragma once

#include "NodeBase/ZTopologyEdge.h"
#include "NodeBase/ZTopologyNode.h"
#include "ZMessages/ZMessage.h"

// The topology graph: plug-ins, nodes and edges, each list in insertion order. It is a message:
// a copy of the whole graph answers a topology request.
class Z_EXPORT ZTopologyMsg : public ZMessage {
    Z_FACTORY_CLASS(ZTopologyMsg)

public:
    ZTopologyMsg();
    ~ZTopologyMsg() override;

    // The first node with exactly this UID, or null. Valid until m_nodes changes.
    ZTopologyNode* GetNode(const ZNodeUID& uid);
    const ZTopologyNode* GetNode(const ZNodeUID& uid) const;
    // Removes every node hosted by the node manager and every edge that touches one of them; appends
    // the removed UIDs, in graph order, to `removed`. Everything else keeps its order.
    void RemoveNodes(const ZNodeUID& nodeManagerUID, ZVector<ZNodeUID>& removed);
    // Removes every edge that starts or ends at the node.
    void RemoveEdges(const ZNodeUID& uid);

    // "plugins" (list of names), "nodes" and "edges" (arrays of node and edge records).
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    // Replaces each list that the stream holds.
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;
    bool IsCloneable() const override { return true; }

    ZStringList m_plugins;
    ZVector<ZTopologyNode> m_nodes;
    ZVector<ZTopologyEdge> m_edges;
    const char* m_logSource;
    std::int32_t m_logLevel = LOGLEVEL_PROGRESS;
};
