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
#include "ZTopologyObserver.h"

// A small system on real processes: a broker of the test's own, a discovery host ("Bridge-NM")
// with a dead time of kDeadTimeSecs, two node managers with two nodes and a connection each, and an
// observer client. Time-outs are generous, for a loaded machine; nothing waits a fixed time.
class ZIntegrationFixture : public ::testing::Test {
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
    ZNodeManagerProcess& Launch(ZHostConfig config);
    // The UIDs the whole system registers: node managers and their nodes.
    std::vector<std::string> SystemUIDs() const;
    // Waits until the graph holds none of the UIDs and every UID of the rest of the system.
    bool WaitUntilGone(const ZNodeManagerProcess& gone, std::chrono::milliseconds timeout);
    bool WaitForSignature(const std::vector<std::string>& signature, std::chrono::milliseconds timeout);
    std::vector<std::string> CurrentSignature();
    // Runs a program to its end (a client of mosquitto's, ztopo): its exit code and its output.
    int RunTool(const std::vector<std::string>& args, std::string& output,
                const std::string& inputPath = std::string());

    ZScratchFolder m_folder{"zintegration"};
    ZTestBroker m_broker;
    std::vector<std::unique_ptr<ZNodeManagerProcess>> m_processes;
    std::unique_ptr<ZTopologyObserver> m_pObserver;
    ZNodeManagerProcess* m_pBridge = nullptr;
    ZNodeManagerProcess* m_pRadar = nullptr;
    ZNodeManagerProcess* m_pDisplay = nullptr;
};
