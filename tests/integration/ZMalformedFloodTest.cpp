// A flood of payloads that are no message, published with mosquitto's own client on the discovery
// node's control topics: each is dropped with one log line, and the discovery node keeps serving
// with its graph as it was.
#include <chrono>
#include <fstream>
#include <string>
#include <vector>

#include "ZIntegrationFixture.h"

namespace {

constexpr const char* kMosquittoPub = "/usr/bin/mosquitto_pub";
constexpr int kRounds = 8;

// One line per payload (mosquitto_pub -l sends each line as a message).
std::vector<std::string> MalformedPayloads() {
    std::vector<std::string> payloads = {
        "not json at all",
        "{\"class\":",
        "[1,2,3]",
        "{\"body\":{\"nodeUID\":\"Radar-NM\"}}",
        "{\"class\":42}",
        "{\"class\":\"\"}",
        "{\"class\":\"ZNoSuchMsg\",\"body\":{}}",
        "{\"class\":\"ZNode\"}",
        "{\"class\":\"ZDiscoveryFindNodeMsg\",\"body\":{\"nodeUID\":42}}",
        "{\"class\":\"ZDiscoveryManagerMsg\",\"body\":{\"nodeManagerUID\":\"Evil-NM\",\"sessionID\":\"one\"}"
        "}",
        "{\"class\":\"ZDiscoveryRequestMsg\",\"body\":[\"Evil1\"]}",
        "{\"class\":\"ZRemoveNodeManagerMsg\",\"deliveryInfo\":\"x\",\"body\":{\"nodeManagerUID\":\"Radar-"
        "NM\"}}",
        "{\"class\":\"ZDiscoveryLockUnlockMsg\",\"priority\":1e40,\"body\":{\"bLock\":true}}",
    };
    // Over nMaxMessageBytes (10240), and otherwise a valid removal of a live node manager.
    payloads.push_back(
        "{\"class\":\"ZRemoveNodeManagerMsg\",\"body\":{\"nodeManagerUID\":\"Radar-NM\",\"reason\":\"" +
        std::string(11000, 'x') + "\"}}");
    return payloads;
}

}  // namespace

using ZMalformedFloodTest = ZIntegrationFixture;

TEST_F(ZMalformedFloodTest, DroppedWithOneLineEachWhileTheDiscoveryNodeKeepsServing) {
    StartSystem();
    ZNodeManagerProcess& sut = *m_pBridge;
    const auto before = CurrentSignature();
    const std::vector<std::string> topics = {"addnodemanager", "removenodemanager", "addnode", "topoconnect",
                                             "findnode",       "gettopo",           "locking"};
    const auto payloads = MalformedPayloads();
    const std::string input = m_folder.Path() + "/flood.txt";
    {
        std::ofstream file(input);
        for (int round = 0; round < kRounds; ++round) {
            for (const auto& payload : payloads) {
                file << payload << '\n';
            }
        }
    }
    const std::size_t sent = topics.size() * payloads.size() * kRounds;
    const std::string dropped = "Dropped a message on <control/ZNodeDiscovery1/";

    for (const auto& topic : topics) {
        std::string output;
        const int code = RunTool({kMosquittoPub, "-p", std::to_string(m_broker.Port()), "-q", "1", "-t",
                                  "control/ZNodeDiscovery1/" + topic, "-l"},
                                 output, input);
        ASSERT_EQ(code, 0) << topic << ": " << output;
    }

    EXPECT_TRUE(ZWaitUntil([&] { return sut.CountInLog(dropped) >= sent; }, kSettle));
    EXPECT_EQ(m_pObserver->FindNodeManager("Radar-NM", std::chrono::seconds(10)), 1);
    EXPECT_EQ(CurrentSignature(), before);
    EXPECT_EQ(sut.CountInLog(dropped), sent);
    EXPECT_EQ(sut.CountInLog("over nMaxMessageBytes"), topics.size() * kRounds);
    EXPECT_TRUE(sut.IsRunning());
}
