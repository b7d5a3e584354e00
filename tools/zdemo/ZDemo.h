#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ZModuleLoader.h"

class ZDemoObserver;
class ZLocalBus;
class ZNodeCommLocal;
class ZNodeManager;
class ZNodeManagerConfig;

// The embedded demo: one process, the in-process transport, real pumps and real time. A node
// manager hosts the discovery node (loaded as a module); three more node managers with their nodes
// register, connect endpoints and look each other up; one restarts with a new session and one falls
// silent until the liveness monitor removes it. The run is told as a timeline, and the final
// topology is printed as a tree and written as JSON and Graphviz.
class ZDemo {
public:
    struct ZOptions {
        std::string m_modulePath;
        std::string m_outDir;
    };

    static constexpr std::int32_t kDeadTimeSecs = 3;

    explicit ZDemo(ZOptions options);
    ~ZDemo();
    ZDemo(const ZDemo&) = delete;
    ZDemo& operator=(const ZDemo&) = delete;

    // The exit code: 0 when every step happened in time.
    int Run();

private:
    bool Play(std::string& failure);
    std::shared_ptr<ZNodeManager> Start(std::shared_ptr<ZNodeManagerConfig> config);
    bool WaitUntil(const std::function<bool()>& condition, std::chrono::seconds timeout) const;
    bool WaitRunning(const std::vector<std::shared_ptr<ZNodeManager>>& managers, std::string& failure) const;
    bool WriteTopology(std::string& failure);
    void StopAll();

    ZOptions m_options;
    ZModuleLoader m_loader;
    std::shared_ptr<ZLocalBus> m_pBus;
    std::shared_ptr<ZNodeCommLocal> m_pComm;
    std::unique_ptr<ZDemoObserver> m_pObserver;
    std::vector<std::shared_ptr<ZNodeManager>> m_managers;  // in start order
};
