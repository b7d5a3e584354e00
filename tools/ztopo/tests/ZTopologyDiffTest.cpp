#include "ZTopologyDiff.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "NodeBase/ZTopologyMsg.h"

namespace {

void AddNode(ZTopologyMsg& graph, const char* uid, const char* manager, const char* group = "") {
    graph.m_nodes.emplace_back(ZNodeUID(uid), ZString(uid), ZStringList(), ZString("ZRadar"), ZString(group),
                               ZNodeUID(manager));
}

void AddEdge(ZTopologyMsg& graph, const char* from, const char* to) {
    graph.m_edges.emplace_back(ZCommEndpoint(ZNodeUID(from), EP_STATUS, "out"),
                               ZCommEndpoint(ZNodeUID(to), EP_CONTROL, "in"));
}

// M hosts a, N hosts b, a feeds b.
ZTopologyMsg Before() {
    ZTopologyMsg graph;
    AddNode(graph, "M", "M", "Bridge");
    AddNode(graph, "N", "N");
    AddNode(graph, "a", "M");
    AddNode(graph, "b", "N");
    AddEdge(graph, "a", "b");
    return graph;
}

TEST(ZTopologyDiffTest, ListsManagersThenNodesThenConnectionsAndPlugins) {
    const ZTopologyMsg before = Before();
    ZTopologyMsg after;
    AddNode(after, "M", "M", "Bridge");
    AddNode(after, "P", "P");
    AddNode(after, "a", "M", "Mast");
    AddNode(after, "c", "P");
    AddEdge(after, "a", "c");
    AddEdge(after, "a", "c");
    after.m_plugins.push_back("NodeDiscovery");

    const ZTopologyDiff sut(before, after);

    EXPECT_EQ(sut.Lines(),
              (std::vector<std::string>{
                  "- node manager N (group -)",
                  "+ node manager P (group -)",
                  "- node b (b, class ZRadar, group -) on N",
                  "~ node a (a, class ZRadar, group Mast) on M, was (a, class ZRadar, group -) on M",
                  "+ node c (c, class ZRadar, group -) on P",
                  "- connection status/a/out --> control/b/in",
                  "+ connection status/a/out --> control/c/in",
                  "+ connection status/a/out --> control/c/in",
                  "+ plug-in NodeDiscovery",
              }));
}

TEST(ZTopologyDiffTest, SameGraphInAnotherOrderIsNoChange) {
    const ZTopologyMsg before = Before();
    ZTopologyMsg after = Before();
    std::swap(after.m_nodes[0], after.m_nodes[3]);

    const ZTopologyDiff sut(before, after);

    EXPECT_TRUE(sut.IsEmpty()) << sut.Lines().front();
}

}  // namespace
