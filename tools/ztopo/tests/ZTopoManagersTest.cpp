// ztopo's subcommands on the discovery node's list of node managers, its output formats, the
// filters of show and the generated manual, as a user runs them.
#include <nlohmann/json.hpp>
#include <regex>

#include "NodeBase/ZDiscoveryNodeManagersMsg.h"
#include "NodeBase/ZOnlineStatusMsg.h"
#include "ZTopoFixture.h"

namespace {

using namespace std::chrono_literals;

const std::regex kIsoTime("20[0-9]{2}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-5][0-9]Z");

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

using ZTopoManagersTest = ZTopoCommandTest;

TEST_F(ZTopoManagersTest, ManagersPrintsOneRowPerRegisteredNodeManagerInEachFormat) {
    ASSERT_EQ(Run({"managers"}), ZTOPO_EXIT_OK) << m_err.str();
    const auto lines = Lines(m_out.str());
    ASSERT_EQ(lines.size(), 3u) << m_out.str();
    EXPECT_EQ(lines[0].rfind("NODE MANAGER  GROUP   HOST     PROCESS  VERSION  SESSION  AGE", 0), 0u)
        << lines[0];
    EXPECT_EQ(lines[1].rfind("Antenna-NM    Mast    console  4242     2.151    7        ", 0), 0u)
        << lines[1];
    EXPECT_EQ(lines[2].rfind("Radar-NM      Bridge  console  4242     2.151    7        ", 0), 0u)
        << lines[2];
    EXPECT_TRUE(Contains(lines[2], "s ago")) << lines[2];

    ASSERT_EQ(Run({"managers", "-o", "wide"}), ZTOPO_EXIT_OK);
    EXPECT_TRUE(Contains(m_out.str(), "DEAD IN  REGISTERED  ")) << m_out.str();
    EXPECT_TRUE(std::regex_search(Lines(m_out.str())[1], kIsoTime)) << m_out.str();

    ASSERT_EQ(Run({"-o", "json", "managers"}), ZTOPO_EXIT_OK);
    auto answer = ZMakeShared<ZDiscoveryNodeManagersMsg>();
    ASSERT_TRUE(answer->Deserialize(ZTestJsonStream(m_out.str()))) << m_out.str();
    ASSERT_EQ(answer->m_nodeManagers.size(), 2u);
    EXPECT_EQ(answer->m_nodeManagers[1].m_nodeManagerUID, ZNodeUID("Radar-NM"));
    EXPECT_EQ(answer->m_nodeManagers[1].m_processID, 4242);
    EXPECT_EQ(answer->m_deadTimeSecs, 10);
}

TEST_F(ZTopoManagersTest, LockStatusSaysWhoHoldsTheLockAndSinceWhen) {
    ASSERT_EQ(Run({"lock-status"}), ZTOPO_EXIT_OK) << m_err.str();
    EXPECT_EQ(m_out.str(), "free\n");

    ASSERT_EQ(Run({"lock", "--as", "Antenna1"}), ZTOPO_EXIT_OK);
    m_clock.Advance(2s);
    ASSERT_EQ(Run({"lock-status"}), ZTOPO_EXIT_OK);
    EXPECT_EQ(m_out.str().rfind("held by Antenna-NM since ", 0), 0u) << m_out.str();
    EXPECT_TRUE(std::regex_search(m_out.str(), kIsoTime)) << m_out.str();
    EXPECT_TRUE(Contains(m_out.str(), " (for 2.")) << m_out.str();

    ASSERT_EQ(Run({"lock-status", "-o", "json"}), ZTOPO_EXIT_OK);
    const auto lock = nlohmann::json::parse(m_out.str());
    EXPECT_TRUE(lock["bHeld"].get<bool>());
    EXPECT_EQ(lock["lockHolderUID"], "Antenna-NM");
    EXPECT_TRUE(std::regex_match(lock["lockedSince"].get<std::string>(), kIsoTime)) << lock.dump();
    EXPECT_GE(lock["lockedForMs"].get<long long>(), 2000);
}

TEST_F(ZTopoManagersTest, DescribeGathersANodeOrNodeManagerWithItsConnectionsAndRegistration) {
    ASSERT_EQ(Run({"describe", "Radar1"}), ZTOPO_EXIT_OK) << m_err.str();
    EXPECT_EQ(m_out.str(),
              "Radar1  node\n"
              "  name          Radar1\n"
              "  class         ZRadar\n"
              "  group         Bridge\n"
              "  node manager  Radar-NM\n"
              "  aliases       -\n"
              "  log level     none\n"
              "  config        -\n"
              "  in            status/Antenna1/out --> control/Radar1/in\n");

    ASSERT_EQ(Run({"describe", "Radar-NM"}), ZTOPO_EXIT_OK) << m_err.str();
    const std::string manager = m_out.str();
    EXPECT_EQ(
        manager.rfind("Radar-NM  node manager\n  group         Bridge\n  nodes         Radar1, ZRadar1\n", 0),
        0u)
        << manager;
    EXPECT_TRUE(Contains(manager, "  connections   none\n  host          console\n  process       4242\n"))
        << manager;
    EXPECT_TRUE(Contains(manager, "  version       2.151 (framework 2.151, os -)\n  session       7\n"))
        << manager;
    EXPECT_TRUE(Contains(manager, " left of the dead time of 10s)\n  lock          not held\n")) << manager;

    ASSERT_EQ(Run({"describe", "Antenna-NM", "-o", "json"}), ZTOPO_EXIT_OK);
    const auto description = nlohmann::json::parse(m_out.str());
    EXPECT_EQ(description["kind"], "node manager");
    EXPECT_EQ(description["nodes"], nlohmann::json::array({"Antenna1"}));
    EXPECT_EQ(description["record"]["group"], "Mast");
    EXPECT_EQ(description["registration"]["hostName"], "console");
    EXPECT_FALSE(description["bLockHolder"].get<bool>());

    EXPECT_EQ(Run({"describe", "Ghost"}), ZTOPO_EXIT_REFUSED);
    EXPECT_EQ(m_err.str(), "ztopo: Ghost is not in the topology\n");
}

TEST_F(ZTopoManagersTest, ShowKeepsWhatTheFiltersAskForWithTheNodeManagersHostingIt) {
    ASSERT_EQ(Run({"show", "--group", "Mast"}), ZTOPO_EXIT_OK) << m_err.str();
    std::string tree = m_out.str();
    EXPECT_TRUE(Contains(tree, "Topology: 2 node managers, 2 nodes, 1 connection")) << tree;
    EXPECT_TRUE(Contains(tree, "  Radar-NM  (node manager, group Bridge)\n    Radar2 ")) << tree;
    EXPECT_FALSE(Contains(tree, "UID Radar1\n")) << tree;

    ASSERT_EQ(Run({"show", "--class", "ZAntenna"}), ZTOPO_EXIT_OK);
    tree = m_out.str();
    EXPECT_TRUE(Contains(tree, "Topology: 1 node manager, 1 node, 1 connection")) << tree;
    EXPECT_TRUE(Contains(tree, "  Antenna-NM  (node manager, group Mast)\n    Antenna1 ")) << tree;

    ASSERT_EQ(Run({"show", "--manager", "Radar-NM", "--class", "ZRadar", "-o", "json"}), ZTOPO_EXIT_OK);
    ZTopologyMsg graph;
    ASSERT_TRUE(graph.Deserialize(ZTestJsonStream(m_out.str())));
    ASSERT_EQ(graph.m_nodes.size(), 3u);
    EXPECT_EQ(graph.m_nodes[0].m_uid, ZNodeUID("Radar-NM"));
    EXPECT_EQ(graph.m_edges.size(), 1u);

    ASSERT_EQ(Run({"show", "--class", "ZAntenna", "-o", "wide"}), ZTOPO_EXIT_OK);
    EXPECT_TRUE(Contains(m_out.str(), " UID Antenna1  aliases -  log level none  config -\n")) << m_out.str();

    ASSERT_EQ(Run({"show", "--group", "Deck"}), ZTOPO_EXIT_OK);
    EXPECT_TRUE(Contains(m_out.str(), "Topology: 0 node managers, 0 nodes, 0 connections")) << m_out.str();
}

TEST_F(ZTopoManagersTest, EveryLookupAnswersInJSONAndBadFormatsAreUsageErrors) {
    ASSERT_EQ(Run({"find-uid", "ZRadar", "--group", "Mast", "-o", "json"}), ZTOPO_EXIT_OK);
    EXPECT_EQ(nlohmann::json::parse(m_out.str())["nodeUID"], "ZRadar1");
    ASSERT_EQ(Run({"master", "-o", "json"}), ZTOPO_EXIT_OK);
    EXPECT_EQ(nlohmann::json::parse(m_out.str())["masterNodeManagerUID"], "Radar-NM");
    ASSERT_EQ(Run({"find-node", "Radar-NM", "-o", "json"}), ZTOPO_EXIT_OK);
    EXPECT_TRUE(nlohmann::json::parse(m_out.str())["bSuccess"].get<bool>());
    ASSERT_EQ(Run({"lock", "--as", "Radar1", "-o", "json"}), ZTOPO_EXIT_OK);
    EXPECT_EQ(nlohmann::json::parse(m_out.str())["nodeManagerUID"], "Radar-NM");
    ASSERT_EQ(Run({"history", "-o", "json"}), ZTOPO_EXIT_OK);
    EXPECT_EQ(nlohmann::json::parse(m_out.str())["class"], "ZRemovalHistoryMsg");
    ASSERT_EQ(Run({"remove", "Antenna-NM", "-o", "json"}), ZTOPO_EXIT_OK);
    EXPECT_EQ(nlohmann::json::parse(m_out.str())["nodes"], 1);
    // A refusal stays one line on the error stream, whatever the format.
    EXPECT_EQ(Run({"find-uid", "ZCamera", "-o", "json"}), ZTOPO_EXIT_REFUSED);
    EXPECT_EQ(m_out.str(), "");
    EXPECT_EQ(m_err.str(), "ztopo: no node of class ZCamera\n");

    m_urls.clear();
    EXPECT_EQ(Run({"show", "-o", "ndjson"}), ZTOPO_EXIT_USAGE);
    EXPECT_EQ(m_err.str(), "ztopo: -o ndjson is for watch only; ztopo --help tells more\n");
    EXPECT_EQ(Run({"-o", "xml", "managers"}), ZTOPO_EXIT_USAGE);
    const std::string complaint = m_err.str();
    EXPECT_EQ(complaint.rfind("ztopo: ", 0), 0u) << complaint;
    EXPECT_EQ(std::count(complaint.begin(), complaint.end(), '\n'), 1) << complaint;
    EXPECT_EQ(Run({"describe"}), ZTOPO_EXIT_USAGE);
    EXPECT_EQ(Run({"show", "--manager", "a/b"}), ZTOPO_EXIT_USAGE);
    EXPECT_TRUE(m_urls.empty());
}

TEST_F(ZTopoManagersTest, WatchDatesItsLinesAndTellsRemovalReasonsAndDiscoveryRestarts) {
    auto online = [this](bool on, std::int64_t startID) {
        auto status = ZMakeShared<ZOnlineStatusMsg>();
        status->m_bOnline = on;
        status->m_nodeManagerUID = ZNodeUID("Radar-NM");
        status->m_startID = startID;
        status->SetRetained(true);
        m_pPlayers->Publish(ZCommEndpoint(ZNodeUID("ZNodeDiscovery1"), EP_STATUS, "online"), status);
    };
    online(true, 11);  // retained before ztopo watches: only noted
    int stage = 0;
    m_onStep = [&] {
        const std::string out = m_out.str();
        if (stage == 0 && Contains(out, "\"event\":\"watching\"")) {
            auto removal = ZMakeShared<ZRemoveNodeManagerMsg>();
            removal->m_nodeManagerUID = ZNodeUID("Antenna-NM");
            removal->m_reason = "connection lost";
            Send("Antenna-NM", "removenodemanager", removal);
            stage = 1;
        } else if (stage == 1 && Contains(out, "\"event\":\"change\"")) {
            online(false, 11);
            online(true, 12);
            stage = 2;
        } else if (stage == 2 && Contains(out, "\"event\":\"restarted\"")) {
            stage = 3;
        }
    };
    m_sut.SetStopCheck([&stage] { return stage == 3; });

    ASSERT_EQ(Run({"watch", "-o", "ndjson"}), ZTOPO_EXIT_OK) << m_err.str();

    const auto lines = Lines(m_out.str());
    ASSERT_EQ(lines.size(), 4u) << m_out.str();
    const auto start = nlohmann::json::parse(lines[0]);
    EXPECT_TRUE(std::regex_match(start["time"].get<std::string>(), kIsoTime)) << lines[0];
    EXPECT_EQ(start["nodeManagers"], 2);
    const auto change = nlohmann::json::parse(lines[1]);
    EXPECT_EQ(change["notices"][0]["notice"], "nodesdisconnected");
    EXPECT_EQ(change["notices"][0]["reason"], "connection lost");
    EXPECT_EQ(change["changes"][0], "- node manager Antenna-NM (group Mast)");
    EXPECT_EQ(nlohmann::json::parse(lines[2])["event"], "offline");
    EXPECT_EQ(nlohmann::json::parse(lines[3])["startID"], 12);
}

TEST_F(ZTopoManagersTest, WatchInTextGivesDatesReasonsAndOnlineEvents) {
    int stage = 0;
    m_onStep = [&] {
        const std::string out = m_out.str();
        if (stage == 0 && Contains(out, " watching ZNodeDiscovery1: ")) {
            auto removal = ZMakeShared<ZRemoveNodeManagerMsg>();
            removal->m_nodeManagerUID = ZNodeUID("Antenna-NM");
            Send("Radar-NM", "removenodemanager", removal);
            stage = 1;
        } else if (stage == 1 && Contains(out, "- connection")) {
            stage = 2;
        }
    };
    m_sut.SetStopCheck([&stage] { return stage == 2; });

    ASSERT_EQ(Run({"watch"}), ZTOPO_EXIT_OK) << m_err.str();

    const auto lines = Lines(m_out.str());
    ASSERT_GE(lines.size(), 2u) << m_out.str();
    EXPECT_TRUE(std::regex_search(lines[0], std::regex("^20[0-9-]{8}T[0-9:]{8}Z watching ZNodeDiscovery1: ")))
        << lines[0];
    EXPECT_TRUE(std::regex_search(
        lines[1],
        std::regex("^20[0-9-]{8}T[0-9:]{8}Z nodesdisconnected \\(Antenna-NM, Antenna1\\) reason: request$")))
        << lines[1];
}

TEST_F(ZTopoManagersTest, ManPageAndCompletionComeFromTheCommandLineWithoutABroker) {
    ASSERT_EQ(Run({"--man"}), ZTOPO_EXIT_OK) << m_err.str();
    const std::string man = m_out.str();
    EXPECT_EQ(man.rfind(".TH ZTOPO 1 \"\" \"ztopo 2.151\"", 0), 0u) << man;
    EXPECT_TRUE(Contains(man, ".SS lock\\-status\n")) << man;
    EXPECT_TRUE(Contains(man, ".SS describe UID\n")) << man;
    EXPECT_TRUE(Contains(man, ".B \\-o, \\-\\-output FORMAT\n")) << man;
    EXPECT_TRUE(Contains(man, "(environment: ZTOPO_BROKER)")) << man;
    EXPECT_TRUE(Contains(man, ".TP\n.B 4\nthe broker refused the credentials or the client\n")) << man;
    EXPECT_FALSE(Contains(man, "completion")) << man;

    ASSERT_EQ(Run({"--completion", "bash"}), ZTOPO_EXIT_OK) << m_err.str();
    const std::string script = m_out.str();
    EXPECT_TRUE(Contains(script, "complete -F _ztopo ztopo\n")) << script;
    EXPECT_TRUE(Contains(script, " managers lock-status describe\"")) << script;
    EXPECT_TRUE(Contains(script, "        show) options+=\" -h --help --group --class --manager\" ;;\n"))
        << script;
    EXPECT_FALSE(Contains(script, " --completion ")) << script;
    EXPECT_FALSE(Contains(script, "--man ")) << script;

    EXPECT_EQ(Run({"--completion", "tcsh"}), ZTOPO_EXIT_USAGE);
    EXPECT_EQ(m_err.str().rfind("ztopo: ", 0), 0u) << m_err.str();
    EXPECT_TRUE(m_urls.empty());
}

}  // namespace
