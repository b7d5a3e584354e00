#include "NodeBase/ZTopologyMsg.h"

#include <gtest/gtest.h>

#include "NodeBase/ZEdgeToolsMetadata.h"
#include "NodeBase/ZNodeToolsMetadata.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZTestKit/ZCapturingLogSink.h"

namespace {

ZTopologyNode Node(const char* uid, const char* manager, const char* className = "ZRadar",
                   const char* group = "G") {
    return ZTopologyNode(ZNodeUID(uid), uid, {}, className, group, ZNodeUID(manager));
}

ZTopologyEdge Edge(const char* from, const char* to) {
    return ZTopologyEdge(ZCommEndpoint(ZNodeUID(from), EP_STATUS, "out"),
                         ZCommEndpoint(ZNodeUID(to), EP_CONTROL, "in"));
}

std::vector<std::string> Uids(const ZTopologyMsg& graph) {
    std::vector<std::string> uids;
    for (const auto& node : graph.m_nodes) {
        uids.emplace_back(node.m_uid.c_str());
    }
    return uids;
}

std::vector<std::string> Edges(const ZTopologyMsg& graph) {
    std::vector<std::string> edges;
    for (const auto& edge : graph.m_edges) {
        edges.emplace_back(edge.m_from.m_uid.c_str() + std::string(">") + edge.m_to.m_uid.c_str());
    }
    return edges;
}

TEST(ZTopologyMsgTest, GetNodeFindsTheFirstExactMatch) {
    ZTopologyMsg sut;
    EXPECT_EQ(sut.GetNode(ZNodeUID("A")), nullptr);
    sut.m_nodes = {Node("A", "M", "First"), Node("a", "M"), Node("A", "M", "Second")};

    ASSERT_NE(sut.GetNode(ZNodeUID("A")), nullptr);
    EXPECT_EQ(sut.GetNode(ZNodeUID("A"))->m_className, "First");
    EXPECT_EQ(sut.GetNode(ZNodeUID("a")), &sut.m_nodes[1]);
    EXPECT_EQ(sut.GetNode(ZNodeUID("A ")), nullptr);
}

TEST(ZTopologyMsgTest, RemoveNodesTakesTheManagersNodesAndEveryEdgeTouchingThem) {
    ZScopedLogCapture capture;
    ZTopologyMsg sut;
    sut.m_nodes = {Node("M", "M", "ZNodeManager"), Node("A", "M"), Node("X", "K"), Node("B", "M"),
                   Node("K", "K")};
    sut.m_edges = {Edge("X", "K"), Edge("B", "A"), Edge("A", "X"), Edge("X", "B"), Edge("K", "X")};
    ZVector<ZNodeUID> removed{ZNodeUID("earlier")};

    sut.RemoveNodes(ZNodeUID("M"), removed);

    EXPECT_EQ(Uids(sut), (std::vector<std::string>{"X", "K"}));
    EXPECT_EQ(Edges(sut), (std::vector<std::string>{"X>K", "K>X"}));
    ASSERT_EQ(removed.size(), 4u);
    EXPECT_EQ(removed[0], ZNodeUID("earlier"));
    EXPECT_EQ(removed[1], ZNodeUID("M"));
    EXPECT_EQ(removed[2], ZNodeUID("A"));
    EXPECT_EQ(removed[3], ZNodeUID("B"));
    // Edges are logged with the first removed node they touch: B>A and A>X with A, X>B with B.
    EXPECT_EQ(capture->Texts(), (std::vector<std::string>{
                                    "Removing node <G.ZNodeManager.M(M)>...",
                                    "Removing edge <status/B/out --> control/A/in>...",
                                    "Removing edge <status/A/out --> control/X/in>...",
                                    "Removing node <G.ZRadar.A(A)>...",
                                    "Removing edge <status/X/out --> control/B/in>...",
                                    "Removing node <G.ZRadar.B(B)>...",
                                }));
    EXPECT_EQ(capture->Records()[0].function, "RemoveNodes");
    EXPECT_EQ(capture->Records()[0].level, LOGLEVEL_PROGRESS);
}

// What RemoveNodes must match: a walk over the nodes that, at each node of the manager, logs and
// removes the edges left that touch it, then logs and removes the node.
void RemoveNodeByNode(ZTopologyMsg& graph, const ZNodeUID& manager, ZVector<ZNodeUID>& removed,
                      std::vector<std::string>& lines) {
    ZVector<ZTopologyNode> kept;
    for (const auto& node : graph.m_nodes) {
        if (node.m_nodeManagerUID != manager) {
            kept.push_back(node);
            continue;
        }
        ZVector<ZTopologyEdge> edges;
        for (const auto& edge : graph.m_edges) {
            if (edge.m_from.m_uid == node.m_uid || edge.m_to.m_uid == node.m_uid) {
                lines.push_back("Removing edge <" + std::string(edge.AsString().c_str()) + ">...");
            } else {
                edges.push_back(edge);
            }
        }
        graph.m_edges = edges;
        lines.push_back("Removing node <" + std::string(node.AsString().c_str()) + ">...");
        removed.push_back(node.m_uid);
    }
    graph.m_nodes = kept;
}

TEST(ZTopologyMsgTest, RemoveNodesMatchesANodeByNodeWalkOnALargerGraph) {
    ZTopologyMsg sut;
    std::uint32_t seed = 12345;
    const auto next = [&seed](std::uint32_t range) {
        seed = seed * 1664525u + 1013904223u;
        return (seed >> 8) % range;
    };
    // UIDs repeat now and then, some of them under two managers.
    for (int i = 0; i < 300; ++i) {
        const std::string uid = "N" + std::to_string(next(260));
        const std::string manager = "M" + std::to_string(next(4));
        sut.m_nodes.push_back(Node(uid.c_str(), manager.c_str()));
    }
    for (int i = 0; i < 900; ++i) {
        const std::string from = "N" + std::to_string(next(270));
        const std::string to = "N" + std::to_string(next(270));
        sut.m_edges.push_back(Edge(from.c_str(), to.c_str()));
    }
    for (const char* manager : {"M2", "M0", "M9", "M1"}) {
        ZTopologyMsg expected = sut;
        ZVector<ZNodeUID> expectedRemoved{ZNodeUID("earlier")};
        std::vector<std::string> expectedLines;
        RemoveNodeByNode(expected, ZNodeUID(manager), expectedRemoved, expectedLines);
        ZVector<ZNodeUID> removed{ZNodeUID("earlier")};
        ZScopedLogCapture capture;

        sut.RemoveNodes(ZNodeUID(manager), removed);

        EXPECT_EQ(Uids(sut), Uids(expected)) << manager;
        EXPECT_EQ(Edges(sut), Edges(expected)) << manager;
        EXPECT_EQ(removed, expectedRemoved) << manager;
        EXPECT_EQ(capture->Texts(), expectedLines) << manager;
    }
    EXPECT_FALSE(sut.m_nodes.empty());
}

TEST(ZTopologyMsgTest, RemoveNodesOfAManagerWithoutNodesChangesNothing) {
    ZTopologyMsg sut;
    sut.m_nodes = {Node("A", "M")};
    sut.m_edges = {Edge("A", "A")};
    ZVector<ZNodeUID> removed;

    sut.RemoveNodes(ZNodeUID("K"), removed);

    EXPECT_EQ(Uids(sut), (std::vector<std::string>{"A"}));
    EXPECT_EQ(sut.m_edges.size(), 1u);
    EXPECT_TRUE(removed.empty());
}

TEST(ZTopologyMsgTest, RemoveEdgesTakesBothDirectionsAndKeepsTheRestInOrder) {
    ZScopedLogCapture capture;
    ZTopologyMsg sut;
    sut.m_edges = {Edge("A", "B"), Edge("C", "M"), Edge("B", "C"), Edge("M", "A"), Edge("C", "A")};

    sut.RemoveEdges(ZNodeUID("M"));
    sut.RemoveEdges(ZNodeUID("nobody"));

    EXPECT_EQ(Edges(sut), (std::vector<std::string>{"A>B", "B>C", "C>A"}));
    EXPECT_EQ(capture->Count("Removing edge"), 2u);
    EXPECT_EQ(capture->Records()[0].function, "RemoveEdges");
}

TEST(ZTopologyMsgTest, LogsNothingBelowItsThreshold) {
    ZScopedLogCapture capture;
    ZTopologyMsg sut;
    sut.m_logLevel = LOGLEVEL_WARNING;
    sut.m_nodes = {Node("A", "M")};
    sut.m_edges = {Edge("A", "A")};
    ZVector<ZNodeUID> removed;

    sut.RemoveNodes(ZNodeUID("M"), removed);

    EXPECT_TRUE(sut.m_edges.empty());
    EXPECT_TRUE(capture->Records().empty());
}

class ZTopologyRoundTrip : public ::testing::TestWithParam<bool> {
protected:
    std::shared_ptr<ZCommStream> MakeStream() const {
        if (GetParam()) {
            return ZMakeShared<ZBinaryCommStream>();
        }
        return ZMakeShared<ZJSONCommStream>();
    }
};

TEST_P(ZTopologyRoundTrip, GraphComesBackWithEverythingItHeld) {
    ZTopologyMsg original;
    original.m_plugins = {"libRadar", "libAntenna"};
    ZTopologyNode manager = Node("NM1", "NM1", "ZNodeManager", "");
    ZTopologyNode radar = Node("Radar1", "NM1");
    radar.m_aliases = {"radar", "r1"};
    radar.m_nodeLogLevel = LOGLEVEL_WARNING;
    auto comms = ZMakeShared<ZCommsParams>();
    comms->bSyncTime = true;
    comms->debugFilter = {"ZRadarModeMsg"};
    radar.m_pConfig = comms;
    auto box = ZMakeShared<ZNodeToolsMetadata>();
    box->m_editorSizeWidth = 120.5;
    radar.m_pToolsMetadata = box;
    ZTopologyEdge edge = Edge("Radar1", "NM1");
    edge.m_fromGroup = "G";
    auto route = ZMakeShared<ZEdgeToolsMetadata>();
    route->m_sourcePos = ZEdgeAnchorPosition::ZRIGHT;
    route->m_anchorPoints.push_back(ZMakeShared<ZAnchorPointToolsMetadata>());
    route->m_anchorPoints.back()->m_left = -7;
    edge.m_pToolsMetadata = route;
    original.m_nodes = {manager, radar};
    original.m_edges = {edge, Edge("NM1", "Radar1")};
    auto written = MakeStream();
    ASSERT_TRUE(original.Serialize(written));
    std::string data;
    ASSERT_TRUE(written->GetData(data));
    auto read = MakeStream();
    ASSERT_TRUE(read->SetData(data.data(), data.size()));
    ZTopologyMsg sut;

    ASSERT_TRUE(sut.Deserialize(read));

    EXPECT_EQ(sut.m_plugins, original.m_plugins);
    EXPECT_EQ(Uids(sut), (std::vector<std::string>{"NM1", "Radar1"}));
    const ZTopologyNode& node = sut.m_nodes[1];
    EXPECT_EQ(node.AsString(), "G.ZRadar.Radar1(Radar1)");
    EXPECT_EQ(node.m_aliases, radar.m_aliases);
    EXPECT_EQ(node.m_nodeManagerUID, ZNodeUID("NM1"));
    EXPECT_EQ(node.m_nodeLogLevel, LOGLEVEL_WARNING);
    auto readComms = std::dynamic_pointer_cast<ZCommsParams>(node.m_pConfig);
    ASSERT_NE(readComms, nullptr);
    EXPECT_TRUE(readComms->bSyncTime);
    EXPECT_EQ(readComms->debugFilter, comms->debugFilter);
    ASSERT_NE(node.m_pToolsMetadata, nullptr);
    EXPECT_EQ(node.m_pToolsMetadata->m_editorSizeWidth, 120.5);
    EXPECT_EQ(sut.m_nodes[0].m_pConfig, nullptr);
    ASSERT_EQ(sut.m_edges.size(), 2u);
    EXPECT_EQ(sut.m_edges[0].AsString(), "status/Radar1/out --> control/NM1/in");
    EXPECT_EQ(sut.m_edges[0].m_fromGroup, "G");
    ASSERT_NE(sut.m_edges[0].m_pToolsMetadata, nullptr);
    EXPECT_EQ(sut.m_edges[0].m_pToolsMetadata->m_sourcePos, ZEdgeAnchorPosition::ZRIGHT);
    ASSERT_EQ(sut.m_edges[0].m_pToolsMetadata->m_anchorPoints.size(), 1u);
    EXPECT_EQ(sut.m_edges[0].m_pToolsMetadata->m_anchorPoints[0]->m_left, -7);
    EXPECT_EQ(sut.m_edges[1].m_pToolsMetadata, nullptr);
}

INSTANTIATE_TEST_SUITE_P(BothStreams, ZTopologyRoundTrip, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& param) {
                             return param.param ? "Binary" : "JSON";
                         });

}  // namespace
