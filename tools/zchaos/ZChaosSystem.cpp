#include "ZChaosSystem.h"

ZChaosSystem::ZChaosSystem(const ZSystemPlan& plan, ZNodeManagerProcess::ZPrograms programs, std::string root)
    : m_programs(std::move(programs)), m_root(std::move(root)) {
    m_pHost = std::make_unique<ZManagerSlot>(plan.Host(), m_programs, m_root);
    for (const auto& manager : plan.Managers()) {
        m_managers.push_back(std::make_unique<ZManagerSlot>(manager, m_programs, m_root));
    }
}

ZChaosSystem::~ZChaosSystem() {
    // Managers first, so that none is left waiting on a broker that has gone.
    m_managers.clear();
    m_pHost.reset();
    m_pObserver.reset();
    if (m_pRelay) {
        m_pRelay->Stop();
    }
    m_broker.Stop();
}

bool ZChaosSystem::Start(std::chrono::milliseconds timeout, std::string* error) {
    if (!m_broker.Start(error)) {
        return false;
    }
    m_pRelay = std::make_unique<ZLinkRelay>(m_broker.Port());
    if (!m_pRelay->Start(error)) {
        return false;
    }
    m_pObserver = std::make_unique<ZTopologyObserver>(m_broker.URL(), "ZChaosObserver");
    if (!m_pObserver->Connect(timeout, error) || !m_pHost->Start(m_broker.URL(), error)) {
        return false;
    }
    if (!m_pObserver->WaitForTopology([](const ZTopologyMsg&) { return true; }, timeout)) {
        if (error != nullptr) {
            *error = "the discovery node did not answer within " +
                     std::to_string(std::chrono::duration_cast<std::chrono::seconds>(timeout).count()) +
                     " s (log: " + m_pHost->Current()->m_pProcess->LogPath() + ")";
        }
        return false;
    }
    for (auto& slot : m_managers) {
        if (!StartManager(*slot, error)) {
            return false;
        }
    }
    return true;
}

std::string ZChaosSystem::URLFor(const ZManagerSlot& slot) const {
    return slot.Plan().m_bRelayed && m_pRelay ? m_pRelay->URL() : m_broker.URL();
}

bool ZChaosSystem::StartManager(ZManagerSlot& slot, std::string* error) {
    return slot.Start(URLFor(slot), error);
}

bool ZChaosSystem::RestartBroker(std::string* error) {
    m_broker.Stop();
    return m_broker.Start(error);
}

bool ZChaosSystem::RestartHost(std::string* error) {
    m_pHost->Kill();
    return m_pHost->Start(m_broker.URL(), error);
}

std::vector<bool> ZChaosSystem::RunningMask() {
    std::vector<bool> running;
    for (auto& slot : m_managers) {
        running.push_back(slot->IsRunning());
    }
    return running;
}

std::vector<ZInvariantChecker::ZRunning> ZChaosSystem::Running() {
    std::vector<ZInvariantChecker::ZRunning> running;
    if (m_pHost->IsRunning()) {
        running.push_back({&m_pHost->Plan(), &m_pHost->Current()->Log()});
    }
    for (auto& slot : m_managers) {
        if (slot->IsRunning()) {
            running.push_back({&slot->Plan(), &slot->Current()->Log()});
        }
    }
    return running;
}
