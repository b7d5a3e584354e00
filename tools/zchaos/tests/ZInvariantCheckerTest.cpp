// The invariants on graphs, logs and removal histories made by hand: each case is a way the
// discovery node's graph can differ from the system as it runs.
#include <gtest/gtest.h>

#include <algorithm>

#include "ZInvariantChecker.h"

namespace {

using Result = ZInvariantChecker::ZResult;
constexpr int kDeadTime = 3;

bool Holds(const std::vector<std::string>& lines, const std::string& fragment) {
    return std::any_of(lines.begin(), lines.end(), [&fragment](const std::string& line) {
        return line.find(fragment) != std::string::npos;
    });
}

std::string Line(const std::string& text) {
    return "2026-11-23T14:25:48.141247Z [2] ZNodeManager NodeBase/ZNodeManager:F:1 " + text + "\n";
}

class ZInvariantCheckerTest : public ::testing::Test {
protected:
    ZInvariantCheckerTest() {
        // NM01: a named node, an unnamed one, a connection between its own nodes and one to NM02.
        m_nm01.m_uid = "NM01";
        m_nm01.m_deadTimeSecs = kDeadTime;
        m_nm01.m_nodes = {{"n1", "NM01-n1"}, {"n2", ""}, {"n3", "NM01-n3"}};
        m_nm01.m_edges = {{"status/NM01-n1/out1", "control/NM01-n3/in1", false},
                          {"status/NM01-n1/out2", "control/NM02-n1/in2", true}};
        m_nm02.m_uid = "NM02";
        m_nm02.m_deadTimeSecs = 20;
        m_nm02.m_nodes = {{"n1", "NM02-n1"}};
        Log(m_log01, "NM01", {{"n1", "NM01-n1"}, {"n2", "ZNode1"}, {"n3", "NM01-n3"}});
        Log(m_log02, "NM02", {{"n1", "NM02-n1"}});
        m_graph = Whole();
    }

    static void Log(ZManagerLog& log, const std::string& uid,
                    const std::vector<std::pair<std::string, std::string>>& nodes) {
        std::string text =
            Line("Node manager <" + uid + "> registered with discovery node <D>: session <1>, x");
        for (const auto& [name, node] : nodes) {
            text += Line("Node <" + name + "> of <" + uid + "> registered as <" + node + ">");
        }
        if (uid == "NM02") {
            text += Line(
                "Node manager <NM02> is configured with a dead time of 20 s, discovery node <D> applies 3 s");
        }
        text += Line("Node manager <" + uid + "> running: <1> nodes");
        log.Update(text);
    }

    ZGraph Whole() const {
        ZGraph graph;
        graph.m_nodes = {{"NM01", "NM01", "ZNodeManager", "NM01"}, {"NM01-n1", "n1", "ZNode", "NM01"},
                         {"ZNode1", "n2", "ZNode", "NM01"},        {"NM01-n3", "n3", "ZNode", "NM01"},
                         {"NM02", "NM02", "ZNodeManager", "NM02"}, {"NM02-n1", "n1", "ZNode", "NM02"}};
        graph.m_edges = {{"status/NM01-n1/out1", "control/NM01-n3/in1"},
                         {"status/NM01-n1/out2", "control/NM02-n1/in2"}};
        return graph;
    }

    Result Check(const ZGraph& graph) const {
        Result result;
        ZInvariantChecker::CheckGraph(graph, {{&m_nm01, &m_log01}, {&m_nm02, &m_log02}}, kDeadTime, result);
        return result;
    }

    ZManagerPlan m_nm01;
    ZManagerPlan m_nm02;
    ZManagerLog m_log01;
    ZManagerLog m_log02;
    ZGraph m_graph;
};

}  // namespace

TEST_F(ZInvariantCheckerTest, GraphOfTheRunningSystemHolds) {
    EXPECT_TRUE(Check(m_graph).Settled());
    // The connection to another manager's node may be missing: it was made only if that one came first.
    m_graph.m_edges.pop_back();
    EXPECT_TRUE(Check(m_graph).Settled());
}

TEST_F(ZInvariantCheckerTest, TwoNodesWithOneUIDAreAViolationNamingBoth) {
    m_graph.m_nodes[5].m_uid = "ZNode1";  // NM02's n1 numbered like NM01's n2
    const Result result = Check(m_graph);
    EXPECT_TRUE(Holds(result.m_violations, "UID ZNode1 held by 2 nodes: n2 of NM01, n1 of NM02"));
    EXPECT_TRUE(Holds(result.m_violations, "node n1 of NM02 is ZNode1 in the graph, configured as NM02-n1"));
}

TEST_F(ZInvariantCheckerTest, WhatIsMissingOrLeftOverIsPending) {
    ZGraph graph = m_graph;
    graph.m_nodes.erase(graph.m_nodes.begin() + 2);  // NM01's n2
    graph.m_edges.erase(graph.m_edges.begin());
    graph.m_nodes.push_back({"NM09", "NM09", "ZNodeManager", "NM09"});
    graph.m_nodes.push_back({"ZNode7", "n1", "ZNode", "NM09"});
    const Result result = Check(graph);
    EXPECT_TRUE(result.m_violations.empty());
    EXPECT_TRUE(Holds(result.m_pending, "node n2 of NM01 is not in the graph"));
    EXPECT_TRUE(
        Holds(result.m_pending, "connection status/NM01-n1/out1 -> control/NM01-n3/in1 of NM01 is not in"));
    EXPECT_TRUE(Holds(result.m_pending, "node manager NM09 is in the graph but does not run"));
    EXPECT_TRUE(Holds(result.m_pending, "node ZNode7 (n1) of NM09, which does not run, is in the graph"));

    graph = m_graph;
    graph.m_nodes.erase(graph.m_nodes.begin() + 4, graph.m_nodes.end());
    graph.m_edges.pop_back();
    EXPECT_TRUE(Holds(Check(graph).m_pending, "node manager NM02 runs but is not in the graph"));
}

TEST_F(ZInvariantCheckerTest, GraphMustHoldTheUIDsTheManagersLogged) {
    m_graph.m_nodes[2].m_uid = "ZNode3";
    EXPECT_TRUE(Holds(Check(m_graph).m_pending,
                      "node n2 of NM01 is ZNode3 in the graph, but its manager logged ZNode1"));

    // A registration still going on: not yet judged.
    m_graph = Whole();
    m_log02 = ZManagerLog();
    m_log02.Update(
        Line("Node <n1> of <NM02> registered as <NM02-n1>") + Line("Node manager <NM02> running: x") +
        Line("Node manager <NM02> asks discovery node <D> to register it: session <2>, attempt <1>"));
    EXPECT_TRUE(Holds(Check(m_graph).m_pending, "NM02 has not finished registering"));
}

TEST_F(ZInvariantCheckerTest, NodesAndConnectionsTwiceOrDanglingAreViolations) {
    m_graph.m_nodes.push_back(m_graph.m_nodes[1]);
    m_graph.m_nodes.push_back(m_graph.m_nodes[0]);
    m_graph.m_nodes.push_back({"ZNode8", "n7", "ZNode", "NM02"});
    m_graph.m_edges.push_back(m_graph.m_edges[0]);
    m_graph.m_edges.push_back({"status/Gone1/out", "control/NM02-n1/in"});
    const Result result = Check(m_graph);
    EXPECT_TRUE(Holds(result.m_violations, "node n1 of NM01 is in the graph 2 times"));
    EXPECT_TRUE(Holds(result.m_violations, "node manager NM01 is in the graph 2 times"));
    EXPECT_TRUE(Holds(result.m_violations, "node ZNode8 (n7) of NM02 is not in its configuration"));
    EXPECT_TRUE(Holds(result.m_violations,
                      "connection status/NM01-n1/out1 -> control/NM01-n3/in1 is in the graph 2 times"));
    EXPECT_TRUE(Holds(result.m_violations, "ends at Gone1, which is not in the graph"));
    EXPECT_TRUE(Holds(result.m_pending, "status/Gone1/out -> control/NM02-n1/in of no running node manager"));
}

TEST_F(ZInvariantCheckerTest, DeadTimeUnlikeTheDiscoveryNodesIsWarnedAboutOnce) {
    m_nm01.m_deadTimeSecs = 60;
    m_nm02.m_deadTimeSecs = kDeadTime;
    const Result result = Check(m_graph);
    EXPECT_TRUE(
        Holds(result.m_violations, "NM01 (dead time 60 s, the discovery node's 3 s) logged 0 warning(s)"));
    EXPECT_TRUE(
        Holds(result.m_violations, "NM02 (dead time 3 s, the discovery node's 3 s) logged 1 warning(s)"));
}

TEST(ZRemovalCheckTest, RemovalsAreJudgedAgainstTheFaultsOfTheStep) {
    const std::vector<ZInvariantChecker::ZExpectedRemoval> expected = {
        {"NM01", {"connection lost"}, 1, 1},
        {"NM02", {"silence", "connection lost"}, 1, 1},
        {"NM03", {"silence"}, 0, 1},
    };
    ZInvariantChecker::ZResult result;
    ZInvariantChecker::CheckRemovals({{"NM01", 1, "connection lost"}, {"NM02", 2, "connection lost"}},
                                     expected, result);
    EXPECT_TRUE(result.Settled());

    result = {};
    ZInvariantChecker::CheckRemovals({{"NM01", 1, "silence"}}, expected, result);
    EXPECT_TRUE(Holds(result.m_violations,
                      "NM01 removed for \"silence\" at 00:00:00.000Z, expected \"connection lost\""));
    EXPECT_TRUE(Holds(result.m_pending, "no removal of NM01 (\"connection lost\") in the history"));
    EXPECT_TRUE(Holds(result.m_pending, "no removal of NM02 (\"silence\" or \"connection lost\")"));
    EXPECT_FALSE(Holds(result.m_pending, "NM03"));

    result = {};
    ZInvariantChecker::CheckRemovals({{"NM01", 1, "connection lost"},
                                      {"NM01", 2, "connection lost"},
                                      {"NM02", 3, "silence"},
                                      {"NM05", 1795413749342946, "silence"}},
                                     expected, result);
    EXPECT_TRUE(
        Holds(result.m_violations, "NM01 removed for \"connection lost\" at 00:00:00.000Z, more often"));
    EXPECT_TRUE(
        Holds(result.m_violations, "NM05 removed for \"silence\" at 06:02:29.342Z: no fault of this step"));
    EXPECT_TRUE(result.m_pending.empty());
}
