#include "ZIntegrationFixture.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include "NodeBase/ZTopologyMsg.h"
#include "ZChildProcess.h"

namespace {

bool Contains(const std::vector<std::string>& list, const std::string& item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

}  // namespace

ZIntegrationFixture::ZIntegrationFixture() = default;

ZIntegrationFixture::~ZIntegrationFixture() = default;

void ZIntegrationFixture::SetUp() {
    if (!ZTestBroker::Available()) {
        GTEST_SKIP() << "mosquitto is not installed";
    }
    ASSERT_FALSE(m_folder.Path().empty());
    std::string error;
    ASSERT_TRUE(m_broker.Start(&error)) << error;
    m_pObserver = std::make_unique<ZTopologyObserver>(m_broker.URL());
    ASSERT_TRUE(m_pObserver->Connect(std::chrono::seconds(10), &error)) << error;
}

void ZIntegrationFixture::TearDown() {
    if (!HasFailure()) {
        return;
    }
    // The logs stay for whoever reads the failure.
    m_folder.Keep();
    std::cerr << "Logs of the processes: " << m_folder.Path() << "\n";
    if (m_pObserver) {
        if (const auto topology = m_pObserver->Topology()) {
            std::cerr << "Graph at the end:\n";
            for (const auto& line : ZTopologyObserver::Signature(*topology)) {
                std::cerr << "  " << line << "\n";
            }
        }
    }
}

ZNodeManagerProcess& ZIntegrationFixture::Launch(ZHostConfig config) {
    m_processes.push_back(std::make_unique<ZNodeManagerProcess>(
        ZNodeManagerProcess::ZPrograms{Z_ZNODEMANAGER, Z_NODE_DISCOVERY_MODULE}, std::move(config),
        m_folder.Path()));
    ZNodeManagerProcess& process = *m_processes.back();
    std::string error;
    EXPECT_TRUE(process.Start(m_broker.URL(), &error)) << error;
    return process;
}

void ZIntegrationFixture::StartSystem() {
    LaunchSystem();
    WaitForSystem();
}

void ZIntegrationFixture::LaunchSystem() {
    m_pBridge =
        &Launch(ZHostConfig("Bridge-NM", "Bridge").HostDiscovery(kDeadTimeSecs).DeadTime(kDeadTimeSecs));
    m_pRadar = &Launch(ZHostConfig("Radar-NM", "Deck")
                           .DeadTime(kDeadTimeSecs)
                           .AddNode("ZNode", "Radar", "Radar1", "Deck")
                           .AddNode("ZNode", "Scope", "Scope1", "Deck")
                           .Connect("status/Radar1/scan", "control/Scope1/show"));
    m_pDisplay = &Launch(ZHostConfig("Display-NM", "Bridge")
                             .DeadTime(kDeadTimeSecs)
                             .AddNode("ZNode", "Display", "Display1", "Bridge")
                             .AddNode("ZNode", "Panel", "Panel1", "Bridge")
                             .Connect("status/Display1/out", "control/Panel1/in"));
}

void ZIntegrationFixture::WaitForSystem() {
    const auto uids = SystemUIDs();
    const bool whole = m_pObserver->WaitForTopology(
        [&uids](const ZTopologyMsg& topology) {
            return std::all_of(uids.begin(), uids.end(),
                               [&topology](const std::string& uid) {
                                   return ZTopologyObserver::HasNode(topology, uid);
                               }) &&
                   topology.m_edges.size() == 2;
        },
        kSettle);
    ASSERT_TRUE(whole) << "the system did not register within " << kSettle.count() << " s";
}

std::vector<std::string> ZIntegrationFixture::SystemUIDs() const {
    std::vector<std::string> uids;
    for (const auto& process : m_processes) {
        uids.push_back(process->UID());
        const auto nodes = process->Config().NodeUIDs();
        uids.insert(uids.end(), nodes.begin(), nodes.end());
    }
    return uids;
}

bool ZIntegrationFixture::WaitUntilGone(const ZNodeManagerProcess& gone, std::chrono::milliseconds timeout) {
    std::vector<std::string> goneUIDs = gone.Config().NodeUIDs();
    goneUIDs.push_back(gone.UID());
    const auto all = SystemUIDs();
    return m_pObserver->WaitForTopology(
        [&](const ZTopologyMsg& topology) {
            for (const auto& uid : all) {
                if (ZTopologyObserver::HasNode(topology, uid) == Contains(goneUIDs, uid)) {
                    return false;
                }
            }
            return true;
        },
        timeout);
}

bool ZIntegrationFixture::WaitForSignature(const std::vector<std::string>& signature,
                                           std::chrono::milliseconds timeout) {
    return m_pObserver->WaitForTopology(
        [&signature](const ZTopologyMsg& topology) {
            return ZTopologyObserver::Signature(topology) == signature;
        },
        timeout);
}

std::vector<std::string> ZIntegrationFixture::CurrentSignature() {
    const auto topology = m_pObserver->Topology();
    return topology ? ZTopologyObserver::Signature(*topology) : std::vector<std::string>();
}

int ZIntegrationFixture::RunTool(const std::vector<std::string>& args, std::string& output,
                                 const std::string& inputPath) {
    const std::string logPath = m_folder.Path() + "/tool.log";
    std::remove(logPath.c_str());
    const int code = ZChildProcess::Run(args, logPath, kSettle, inputPath);
    std::ifstream log(logPath);
    std::stringstream text;
    text << log.rdbuf();
    output = text.str();
    return code;
}
