// ztopo as an operator runs it against a running system: the node managers the discovery node
// lists, one of them described, the lock's state, JSON output and the filters of show.
#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ZChildProcess.h"
#include "ZIntegrationFixture.h"

namespace {

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string TextOf(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

class ZTopoOpsTest : public ZIntegrationFixture {
protected:
    // ztopo's exit code; its output (stdout and stderr) in `output`.
    int Ztopo(std::vector<std::string> args, std::string& output) {
        args.insert(args.begin(), {Z_ZTOPO, "--broker", BrokerURL(), "--timeout", "10"});
        return RunTool(args, output);
    }
};

TEST_F(ZTopoOpsTest, ManagersDescribeLockStatusJSONAndFiltersAgainstARunningSystem) {
    StartSystem();
    std::string output;

    ASSERT_EQ(Ztopo({"managers"}, output), 0) << output;
    EXPECT_EQ(output.rfind("NODE MANAGER  GROUP   HOST", 0), 0u) << output;
    for (const char* uid : {"\nBridge-NM ", "\nDisplay-NM ", "\nRadar-NM "}) {
        EXPECT_TRUE(Contains(output, uid)) << output;
    }
    EXPECT_TRUE(Contains(output, "  2.151  ")) << output;

    ASSERT_EQ(Ztopo({"managers", "-o", "json"}, output), 0) << output;
    const auto managers = nlohmann::json::parse(output);
    ASSERT_EQ(managers["nodeManagers"].size(), 3u) << output;
    const auto& radar = managers["nodeManagers"][2];
    EXPECT_EQ(radar["nodeManagerUID"], "Radar-NM");
    EXPECT_EQ(radar["group"], "Deck");
    EXPECT_EQ(radar["processID"], m_pRadar->Pid()) << output;
    EXPECT_GT(radar["deadTimeLeftMs"].get<long long>(), 0);
    EXPECT_EQ(managers["deadTimeSecs"], kDeadTimeSecs);

    ASSERT_EQ(Ztopo({"describe", "Radar-NM"}, output), 0) << output;
    EXPECT_TRUE(
        Contains(output, "Radar-NM  node manager\n  group         Deck\n  nodes         Radar1, Scope1\n"))
        << output;
    EXPECT_TRUE(Contains(output, "  process       " + std::to_string(m_pRadar->Pid()) + "\n")) << output;
    ASSERT_EQ(Ztopo({"describe", "Radar1"}, output), 0) << output;
    EXPECT_TRUE(Contains(output, "  out           status/Radar1/scan --> control/Scope1/show\n")) << output;

    ASSERT_EQ(Ztopo({"lock-status"}, output), 0) << output;
    EXPECT_EQ(output, "free\n");
    ASSERT_EQ(Ztopo({"lock", "--as", "Panel1"}, output), 0) << output;
    ASSERT_EQ(Ztopo({"lock-status"}, output), 0) << output;
    EXPECT_EQ(output.rfind("held by Display-NM since 20", 0), 0u) << output;
    ASSERT_EQ(Ztopo({"unlock", "--as", "Display-NM"}, output), 0) << output;

    ASSERT_EQ(Ztopo({"show", "--group", "Deck"}, output), 0) << output;
    EXPECT_TRUE(Contains(output, "Topology: 1 node manager, 2 nodes, 1 connection")) << output;
    EXPECT_FALSE(Contains(output, "Display1")) << output;
    ASSERT_EQ(Ztopo({"show", "--manager", "Display-NM", "-o", "json"}, output), 0) << output;
    EXPECT_EQ(nlohmann::json::parse(output)["nodes"].size(), 3u) << output;

    EXPECT_EQ(Ztopo({"describe", "Ghost"}, output), 1) << output;
    EXPECT_EQ(output, "ztopo: Ghost is not in the topology\n");
}

// What `ztopo watch -o ndjson` prints while a node manager dies and the discovery host restarts.
TEST_F(ZTopoOpsTest, WatchTellsTheRemovalReasonAndTheDiscoveryNodesRestart) {
    StartSystem();
    const std::string log = m_folder.Path() + "/watch.log";
    ZChildProcess watch;
    std::string error;
    ASSERT_TRUE(watch.Start({Z_ZTOPO, "--broker", BrokerURL(), "--timeout", "10", "watch", "-o", "ndjson"},
                            log, &error))
        << error;
    const auto logged = [&log](const std::string& part) {
        return ZWaitUntil([&] { return Contains(TextOf(log), part); }, kSettle);
    };
    ASSERT_TRUE(logged("\"event\":\"watching\"")) << TextOf(log);

    m_pRadar->Kill();
    ASSERT_TRUE(logged("\"reason\":\"connection lost\"")) << TextOf(log);
    m_pBridge->Kill();
    ASSERT_TRUE(logged("\"event\":\"offline\"")) << TextOf(log);
    ASSERT_TRUE(m_pBridge->Start(BrokerURL(), &error)) << error;
    ASSERT_TRUE(logged("\"event\":\"restarted\"")) << TextOf(log);
    EXPECT_EQ(watch.Stop(kSettle), 0);

    std::vector<nlohmann::json> lines;
    std::istringstream text(TextOf(log));
    for (std::string line; std::getline(text, line);) {
        lines.push_back(nlohmann::json::parse(line));
    }
    ASSERT_GE(lines.size(), 4u);
    for (const auto& line : lines) {
        EXPECT_EQ(line["time"].get<std::string>().size(), 20u) << line.dump();  // 2026-11-23T05:54:02Z
    }
    const auto removal = std::find_if(lines.begin(), lines.end(), [](const nlohmann::json& line) {
        return line["event"] == "change" && line["notices"][0]["notice"] == "nodesdisconnected";
    });
    ASSERT_NE(removal, lines.end());
    EXPECT_EQ((*removal)["notices"][0]["uids"][0], "Radar-NM");
    EXPECT_EQ((*removal)["notices"][0]["reason"], "connection lost");
}

}  // namespace
