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
