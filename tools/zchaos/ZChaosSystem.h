#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "ZInvariantChecker.h"
#include "ZLinkRelay.h"
#include "ZManagerSlot.h"
#include "ZNodeManagerProcess.h"
#include "ZSystemPlan.h"
#include "ZTestKit/ZTestBroker.h"
#include "ZTopologyObserver.h"

// The real system the campaign runs on loopback: a broker of its own, the relay in front of it for
// one manager, the discovery host, the node managers and an observer that asks the discovery node
// for its graph and keeps its publications. Whatever way the campaign ends, every process goes
// with this object.
class ZChaosSystem {
public:
    ZChaosSystem(const ZSystemPlan& plan, ZNodeManagerProcess::ZPrograms programs, std::string root);
    ~ZChaosSystem();
    ZChaosSystem(const ZChaosSystem&) = delete;
    ZChaosSystem& operator=(const ZChaosSystem&) = delete;

    // Broker, relay, observer and discovery host, waiting (up to the timeout) for the discovery node
    // to answer; then every node manager, without waiting for them.
    bool Start(std::chrono::milliseconds timeout, std::string* error);

    ZTestBroker& Broker() { return m_broker; }
    ZLinkRelay& Relay() { return *m_pRelay; }
    ZTopologyObserver& Observer() { return *m_pObserver; }
    ZManagerSlot& Host() { return *m_pHost; }
    std::vector<std::unique_ptr<ZManagerSlot>>& Managers() { return m_managers; }

    // The broker's URL, or the relay's for the relayed manager.
    std::string URLFor(const ZManagerSlot& slot) const;
    bool StartManager(ZManagerSlot& slot, std::string* error);
    // Stopped and started again on the same port.
    bool RestartBroker(std::string* error);
    // SIGKILL, then a new run at once.
    bool RestartHost(std::string* error);

    // Which node managers run now, by index.
    std::vector<bool> RunningMask();
    // The host and the node managers whose current instance runs, with their logs read up to now.
    std::vector<ZInvariantChecker::ZRunning> Running();

private:
    ZNodeManagerProcess::ZPrograms m_programs;
    std::string m_root;
    ZTestBroker m_broker;
    std::unique_ptr<ZLinkRelay> m_pRelay;
    std::unique_ptr<ZTopologyObserver> m_pObserver;
    std::unique_ptr<ZManagerSlot> m_pHost;
    std::vector<std::unique_ptr<ZManagerSlot>> m_managers;
};
