#include "NodeBase/ZNode.h"

#include "ZMessageQueue.h"
#include "ZShared/ZPlatform.h"

namespace {
// Set by a node destroyed on its own pump thread (its last owner let go inside a handler), so
// that the pump loop leaves without touching the node again.
thread_local const ZNode* t_pDestroyedOnPump = nullptr;
}  // namespace

ZNode::ZNode(const std::string& name) : ZCommEnabledObject(name), m_name(name) {}

ZNode::~ZNode() {
    StopAction(true);
    std::lock_guard<std::mutex> lock(m_lifecycleMutex);
    if (m_pumpThread.joinable()) {
        // StopAction joins from any other thread, so this is the pump thread destroying its node.
        t_pDestroyedOnPump = this;
        m_pumpThread.detach();
    }
}

std::shared_ptr<ZCoreConfigParams> ZNode::GetConfigParams() const {
    std::lock_guard<std::mutex> lock(m_configMutex);
    return m_pConfigParams;
}

void ZNode::SetConfigParams(std::shared_ptr<ZCoreConfigParams> params) {
    std::lock_guard<std::mutex> lock(m_configMutex);
    m_pConfigParams = std::move(params);
}

ZNodeUID ZNode::GetMasterNodeManagerUID() const {
    std::lock_guard<std::mutex> lock(m_configMutex);
    return m_masterNodeManagerUID;
}

void ZNode::SetMasterNodeManagerUID(const ZNodeUID& uid) {
    std::lock_guard<std::mutex> lock(m_configMutex);
    m_masterNodeManagerUID = uid;
}

bool ZNode::ShouldRegisterWithDiscovery() const {
    return true;
}

bool ZNode::Initialize(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm,
                       const ZNodeUID& uid) {
    if (m_bStopped) {
        ZLOG(LOGLEVEL_ERROR, "Stopped: <%s> does not start again", m_name.c_str());
        return false;
    }
    if (m_bInitialized.exchange(true)) {
        ZLOG(LOGLEVEL_ERROR, "<%s> is initialized already", m_name.c_str());
        return false;
    }
    if (!OnInit(std::move(comm), std::move(localComm), uid)) {
        ZLOG(LOGLEVEL_ERROR, "OnInit failed");
        StopAction(true);
        return false;
    }
    if (!InitMessageMap()) {
        ZLOG(LOGLEVEL_ERROR, "InitMessageMap failed");
        StopAction(true);
        return false;
    }
    OnConnecting();
    if (!ConnectTransports()) {
        ZLOG(LOGLEVEL_ERROR, "Transport failed to connect");
        StopAction(true);
        return false;
    }
    if (!OnConnected()) {
        ZLOG(LOGLEVEL_ERROR, "OnConnected failed");
        StopAction(true);
        return false;
    }
    ZLOG(LOGLEVEL_PROGRESS, "<%s> initialized as <%s>", m_name.c_str(), GetUID().c_str());
    return true;
}

bool ZNode::StartPump() {
    std::lock_guard<std::mutex> lock(m_lifecycleMutex);
    if (m_bStopped) {
        ZLOG(LOGLEVEL_WARNING, "Stopped: the pump of <%s> does not start", m_name.c_str());
        return false;
    }
    if (m_bPumpStarted.exchange(true)) {
        ZLOG(LOGLEVEL_WARNING, "The pump of <%s> runs already", m_name.c_str());
        return false;
    }
    m_pumpThread = std::thread(&ZNode::PumpThreadMain, this, m_pQueue);
    m_pumpThreadId = m_pumpThread.get_id();
    return true;
}

bool ZNode::Start(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm,
                  const ZNodeUID& uid) {
    return Initialize(std::move(comm), std::move(localComm), uid) && StartPump();
}

bool ZNode::IsPumpRunning() const {
    return m_bPumpStarted && !m_bStopped;
}

void ZNode::SetIdleInterval(std::chrono::milliseconds interval) {
    m_idleIntervalMs = interval.count() > 0 ? interval.count() : 1;
}

std::chrono::milliseconds ZNode::GetIdleInterval() const {
    return std::chrono::milliseconds(m_idleIntervalMs.load());
}

bool ZNode::PumpOne() {
    if (!BeginManualPump("PumpOne")) {
        return false;
    }
    const bool delivered = DeliverNext();
    if (!delivered) {
        RunIdle();
    }
    m_bManualPumping = false;
    return delivered;
}

std::size_t ZNode::PumpUntilIdle() {
    if (!BeginManualPump("PumpUntilIdle")) {
        return 0;
    }
    std::size_t delivered = 0;
    while (DeliverNext()) {
        ++delivered;
    }
    RunIdle();
    m_bManualPumping = false;
    return delivered;
}

ZSteadyTimePoint ZNode::GetLastIdleTime() const {
    return ZSteadyTimePoint(std::chrono::nanoseconds(m_lastIdleNs.load()));
}

void ZNode::BeginShutdown() {
    if (!InShutdown()) {
        ZLOG(LOGLEVEL_PROGRESS, "<%s> shutting down", m_name.c_str());
    }
    SetInShutdown();
}

void ZNode::StopAction(bool wait) {
    const bool first = !m_bStopped.exchange(true);
    SetInShutdown();
    m_pQueue->Close();
    UnsubscribeAll();
    bool onPumpThread = false;
    {
        std::lock_guard<std::mutex> lock(m_lifecycleMutex);
        onPumpThread = m_pumpThreadId == std::this_thread::get_id();
    }
    if (wait && !onPumpThread) {
        std::lock_guard<std::mutex> joinLock(m_joinMutex);
        std::thread pump;
        {
            std::lock_guard<std::mutex> lock(m_lifecycleMutex);
            pump = std::move(m_pumpThread);
        }
        if (pump.joinable()) {
            pump.join();
        }
    }
    if (first) {
        ZLOG(LOGLEVEL_PROGRESS, "<%s> stopped", m_name.c_str());
        OnShutdown(wait);
    }
}

void ZNode::PumpThreadMain(ZNode* node, std::shared_ptr<ZMessageQueue> queue) {
    // OnIdle is due once the queue has drained, and again after each quiet interval.
    bool idleDue = true;
    while (!queue->IsClosed()) {
        if (node->DeliverNext()) {
            if (t_pDestroyedOnPump == node) {
                return;
            }
            idleDue = true;
            continue;
        }
        if (idleDue) {
            node->RunIdle();
            if (t_pDestroyedOnPump == node) {
                return;
            }
            idleDue = false;
            continue;
        }
        idleDue = !queue->WaitForEntry(node->GetIdleInterval());
    }
}

void ZNode::RunIdle() {
    m_lastIdleNs =
        std::chrono::duration_cast<std::chrono::nanoseconds>(ZPlatform::SteadyNow().time_since_epoch())
            .count();
    OnIdle();
}

bool ZNode::ConnectTransports() {
    for (const auto& comm : {GetComm(), GetLocalComm()}) {
        if (comm && !comm->IsConnected() && !comm->Connect()) {
            return false;
        }
    }
    return true;
}

bool ZNode::BeginManualPump(const char* function) {
    if (m_bPumpStarted) {
        ZLOG(LOGLEVEL_WARNING, "%s refused: <%s> has a pump thread", function, m_name.c_str());
        return false;
    }
    if (m_bStopped) {
        return false;
    }
    if (m_bManualPumping.exchange(true)) {
        ZLOG(LOGLEVEL_WARNING, "%s refused: <%s> is being pumped already", function, m_name.c_str());
        return false;
    }
    return true;
}
