#include <gtest/gtest.h>

#include "NodeBase/ZDiscoveryConnectMsg.h"
#include "NodeBase/ZDiscoveryDeleteMsg.h"
#include "NodeBase/ZEdgeToolsMetadata.h"
#include "ZDiscoveryFixture.h"

namespace {

using Lines = std::vector<std::string>;

// From the node's status endpoint to the other's control endpoint, both named as given.
ZTopologyEdge Edge(const char* from, const char* to, const char* fromGroup = "", const char* name = "data") {
    return ZTopologyEdge(ZCommEndpoint(ZNodeUID(from), EP_STATUS, name),
                         ZCommEndpoint(ZNodeUID(to), EP_CONTROL, name), fromGroup);
}

class ZNodeDiscoveryConnectionsTest : public ZDiscoveryFixture {
protected:
    void SetUp() override {
        ZDiscoveryFixture::SetUp();
        RegisterManager("M");
        AddNode("M", "radar", "ZRadar", "", "R");
        AddNode("M", "display", "ZDisplay", "", "D");
        m_log->Clear();
    }
    bool Connect(const ZTopologyEdge& edge) {
        auto message = ZMakeShared<ZDiscoveryConnectMsg>();
        message->m_edge = edge;
        return m_sut->OnTopoConnect(From("Tool", "topoconnect", message));
    }
    void Disconnect(const std::vector<ZTopologyEdge>& edges, const std::vector<const char*>& nodes = {}) {
        auto message = ZMakeShared<ZDiscoveryDeleteMsg>();
        message->m_edges.assign(edges.begin(), edges.end());
        for (const char* uid : nodes) {
            message->m_nodes.emplace_back(ZNodeUID(uid), "", ZStringList(), "ZDisplay", "", ZNodeUID("M"));
        }
        EXPECT_TRUE(m_sut->OnTopoDisconnect(From("Tool", "topodisconnect", message)));
    }
    std::int32_t LastPriority() { return Responses("Tool", "topoconnect").Last<ZMessage>()->m_priority; }
    Lines Edges() {
        Lines texts;
        for (const auto& edge : Graph().m_edges) {
            texts.emplace_back((edge.AsString() + " " + edge.m_fromGroup).c_str());
        }
        return texts;
    }
};

TEST_F(ZNodeDiscoveryConnectionsTest, ConnectionsBetweenRegisteredNodesAreRecordedAsSentEvenTwice) {
    ZTopologyEdge edge = Edge("R", "D", "first");
    edge.m_toGroup = "screen";
    edge.m_pToolsMetadata = ZMakeShared<ZEdgeToolsMetadata>();

    EXPECT_TRUE(Connect(edge));
    EXPECT_TRUE(Connect(edge));
    EXPECT_TRUE(Connect(Edge("R", "R", "", "made-up")));

    EXPECT_EQ(Outcomes("Tool", "topoconnect"), Lines(3, "true Connection made."));
    EXPECT_EQ(LastPriority(), 50);
    EXPECT_EQ(Edges(),
              (Lines{"status/R/data --> control/D/data first", "status/R/data --> control/D/data first",
                     "status/R/made-up --> control/R/made-up "}));
    EXPECT_EQ(Graph().m_edges[1].m_toGroup, "screen");
    EXPECT_EQ(Graph().m_edges[1].m_pToolsMetadata, edge.m_pToolsMetadata);
    EXPECT_EQ(DiscoveryLog().at(0), "2 Connected status/R/data to control/D/data");
}

TEST_F(ZNodeDiscoveryConnectionsTest, MissingNodesAndOtherClassesAreRefused) {
    EXPECT_FALSE(Connect(Edge("X", "Y")));
    EXPECT_FALSE(Connect(Edge("R", "Y")));
    EXPECT_FALSE(m_sut->OnTopoConnect(From("Tool", "topoconnect", ZMakeShared<ZDiscoveryDeleteMsg>())));
    EXPECT_FALSE(
        m_sut->OnTopoDisconnect(From("Tool", "topodisconnect", ZMakeShared<ZDiscoveryConnectMsg>())));

    EXPECT_EQ(Outcomes("Tool", "topoconnect"), (Lines{"false Could not find source node for connection",
                                                      "false Could not find target node for connection"}));
    EXPECT_EQ(LastPriority(), 5000);
    EXPECT_EQ(Responses("Tool", "topodisconnect").Count(), 0u);
    const Lines log = DiscoveryLog();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(
        log[0],
        "4 Could not find source node for connection status/X/data to control/Y/data - Source UID = <X>.");
    EXPECT_EQ(log[1].rfind("4 ", 0), 0u);
    EXPECT_NE(log[1].find("status/R/data to control/Y/data"), std::string::npos);
    EXPECT_TRUE(Graph().m_edges.empty());
}

TEST_F(ZNodeDiscoveryConnectionsTest, DisconnectRemovesOnlyTheFirstEqualEdgeOfTheSameTypes) {
    Connect(Edge("R", "D", "first"));
    Connect(Edge("D", "R"));
    Connect(Edge("R", "D", "second"));
    ZTopologyEdge otherType = Edge("R", "D");
    otherType.m_from.m_type = EP_CONTROL;
    m_log->Clear();

    Disconnect({Edge("R", "D")});
    Disconnect({otherType});

    EXPECT_EQ(Outcomes("Tool", "topodisconnect"),
              (Lines{"true Deleted.", "false Some edges could not be deleted."}));
    EXPECT_EQ(Edges(),
              (Lines{"status/D/data --> control/R/data ", "status/R/data --> control/D/data second"}));
    EXPECT_EQ(DiscoveryLog(), (Lines{"2 Deleted edge 'status/R/data-->control/D/data'",
                                     "4 Failed to delete edge 'control/R/data-->control/D/data'"}));
}

TEST_F(ZNodeDiscoveryConnectionsTest, DeletingANodeLeavesItsEdgesAndTheRegistryAlone) {
    Connect(Edge("R", "D"));

    Disconnect({});
    Disconnect({}, {"D"});

    EXPECT_EQ(Outcomes("Tool", "topodisconnect"), Lines(2, "true Deleted."));
    EXPECT_EQ(GraphUIDs(), (Lines{"M", "R"}));
    EXPECT_EQ(Edges(), Lines{"status/R/data --> control/D/data "});
    EXPECT_TRUE(RegistryKnows("D"));
    EXPECT_EQ(DiscoveryLog().back(), "2 Deleted node uid D");
}

TEST_F(ZNodeDiscoveryConnectionsTest, WhatCanBeDeletedIsDeletedAndTheNodeFailureIsReported) {
    Connect(Edge("R", "D"));
    m_log->Clear();

    Disconnect({Edge("D", "R"), Edge("R", "D")}, {"Nope", "R"});

    EXPECT_EQ(Outcomes("Tool", "topodisconnect"), Lines{"false Some nodes could not be deleted."});
    EXPECT_TRUE(Graph().m_edges.empty());
    EXPECT_EQ(GraphUIDs(), (Lines{"M", "D"}));
    EXPECT_EQ(DiscoveryLog(), (Lines{"4 Failed to delete edge 'status/D/data-->control/R/data'",
                                     "2 Deleted edge 'status/R/data-->control/D/data'",
                                     "4 Failed to delete node <Nope>", "2 Deleted node uid R"}));
}

}  // namespace
