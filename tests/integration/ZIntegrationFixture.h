#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "ZHostConfig.h"
#include "ZNodeManagerProcess.h"
#include "ZScratchFolder.h"
#include "ZTestKit/ZTestBroker.h"
#include "ZTestKit/ZTestEjabberd.h"
#include "ZTopologyObserver.h"

// A small system on real processes: a broker of the test's own, a discovery host ("Bridge-NM")
// with a dead time of kDeadTimeSecs, two node managers with two nodes and a connection each, and an
// observer client. Time-outs are generous, for a loaded machine; nothing waits a fixed time.
//
// The broker is mosquitto, or with ZTEST_BROKER=ejabberd a two-node ejabberd cluster that the tests
// of the process share (its start takes seconds). On the cluster the node managers are spread over
// both nodes: node 0 carries the discovery host, Display-NM and the observer, node 1 Radar-NM; "the
// broker" of a test is node 0.
class ZIntegrationFixture : public ::testing::Test {
public:
    static void TearDownTestSuite();

protected:
    static constexpr int kDeadTimeSecs = 2;
    static constexpr std::chrono::seconds kSettle{30};

    ZIntegrationFixture();
    ~ZIntegrationFixture() override;

    void SetUp() override;
    void TearDown() override;

    // Starts the three node managers and waits until the graph holds all of them.
    void StartSystem();
    void LaunchSystem();
    void WaitForSystem();
    ZNodeManagerProcess& Launch(ZHostConfig config, int brokerNode = 0);
    // The UIDs the whole system registers: node managers and their nodes.
    std::vector<std::string> SystemUIDs() const;
    // Waits until the graph holds none of the UIDs and every UID of the rest of the system.
    bool WaitUntilGone(const ZNodeManagerProcess& gone, std::chrono::milliseconds timeout);
    bool WaitForSignature(const std::vector<std::string>& signature, std::chrono::milliseconds timeout);
    std::vector<std::string> CurrentSignature();
    static bool OnCluster();
    static int BrokerNodes() { return OnCluster() ? 2 : 1; }
    std::string BrokerURL(int node = 0) const;
    // The URL as node managers log it, the password masked.
    std::string LoggedBrokerURL(int node = 0) const;
    // What mosquitto's clients need to reach the broker node: its port, and on the cluster an account.
    std::vector<std::string> BrokerClientArgs(int node = 0) const;
    // SIGKILL to the broker (on the cluster, node 0): its clients see their connections drop.
    void KillBroker();
    bool StartBroker(std::string* error);
    // The broker node the process was launched on.
    int BrokerNodeOf(const ZNodeManagerProcess& process) const;
    // Runs a program to its end (a client of mosquitto's, ztopo): its exit code and its output.
    int RunTool(const std::vector<std::string>& args, std::string& output,
                const std::string& inputPath = std::string());

    ZScratchFolder m_folder{"zintegration"};
    ZTestBroker m_broker;
    std::vector<std::unique_ptr<ZNodeManagerProcess>> m_processes;
    std::vector<int> m_brokerNodes;  // of each process
    std::unique_ptr<ZTopologyObserver> m_pObserver;
    ZNodeManagerProcess* m_pBridge = nullptr;
    ZNodeManagerProcess* m_pRadar = nullptr;
    ZNodeManagerProcess* m_pDisplay = nullptr;
};
