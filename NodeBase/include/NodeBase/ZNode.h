#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "NodeBase/ZCommEnabledObject.h"
#include "ZShared/ZSteadyClock.h"

class ZCoreConfigParams;

// A unit of the system: a comm-enabled object with a name, a configuration set and a message
// pump of its own. The pump hands queued messages to their handlers one at a time, in arrival
// order, and calls OnIdle when the queue runs dry, so a node's own state needs no lock.
//
// Start: Initialize runs OnInit, InitMessageMap, OnConnecting, connects the transports and runs
// OnConnected; any failure stops the node. StartPump then starts the pump thread (Start does
// both). Tests leave the thread out and drive the pump with PumpOne and PumpUntilIdle.
//
// Stop: StopAction. A derived class's destructor calls StopAction(true) first, so that the pump
// never runs a handler of a half-destroyed node.
class Z_EXPORT ZNode : public ZCommEnabledObject, public std::enable_shared_from_this<ZNode> {
    Z_FACTORY_CLASS(ZNode)

public:
    explicit ZNode(const std::string& name = std::string());
    ~ZNode() override;

    // The node's name; the instance name unless changed before the start.
    const std::string& GetName() const { return m_name; }
    void SetName(const std::string& name) { m_name = name; }

    std::shared_ptr<ZCoreConfigParams> GetConfigParams() const;
    void SetConfigParams(std::shared_ptr<ZCoreConfigParams> params);
    ZNodeUID GetMasterNodeManagerUID() const;
    void SetMasterNodeManagerUID(const ZNodeUID& uid);
    virtual bool ShouldRegisterWithDiscovery() const;

    // The start sequence without the pump thread; once per node.
    bool Initialize(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm,
                    const ZNodeUID& uid);
    bool StartPump();
    bool Start(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm, const ZNodeUID& uid);
    bool IsPumpRunning() const;

    // How long the idle pump waits for a message before calling OnIdle again (real time).
    void SetIdleInterval(std::chrono::milliseconds interval);
    std::chrono::milliseconds GetIdleInterval() const;

    // The pump on the caller's thread, refused while the pump thread runs or after the stop.
    // PumpOne delivers one queued message (true) or, with none queued, calls OnIdle (false).
    bool PumpOne();
    // Delivers until the queue is empty, then calls OnIdle once; returns the count delivered.
    std::size_t PumpUntilIdle();
    // When OnIdle was last called (ZPlatform steady time), for watchdogs that look for stuck
    // pumps; the epoch before the first call.
    ZSteadyTimePoint GetLastIdleTime() const;

    // From now on InShutdown() is true; messages are still delivered, so handlers can answer
    // that the node is shutting down.
    void BeginShutdown();
    // Stops for good: InShutdown, no more deliveries (queued messages are dropped), every
    // subscription dropped, OnShutdown once. With `wait` the pump thread is joined, unless this
    // runs on it (a handler stopping its own node), in which case it ends after the handler.
    // Safe to call again and from a destructor.
    void StopAction(bool wait);
    bool IsStopped() const { return m_bStopped.load(); }

private:
    static void PumpThreadMain(ZNode* node, std::shared_ptr<ZMessageQueue> queue);
    void RunIdle();
    bool ConnectTransports();
    bool BeginManualPump(const char* function);

    std::string m_name;
    mutable std::mutex m_configMutex;
    std::shared_ptr<ZCoreConfigParams> m_pConfigParams;
    ZNodeUID m_masterNodeManagerUID;

    std::mutex m_lifecycleMutex;
    // Held while joining the pump thread, so that a second stop waits for the first to finish.
    std::mutex m_joinMutex;
    std::thread m_pumpThread;
    // Kept after the thread object has been handed to a joiner, to recognise the thread.
    std::thread::id m_pumpThreadId;
    std::atomic<bool> m_bInitialized{false};
    std::atomic<bool> m_bPumpStarted{false};
    std::atomic<bool> m_bStopped{false};
    std::atomic<bool> m_bManualPumping{false};
    std::atomic<std::int64_t> m_idleIntervalMs{100};
    std::atomic<std::int64_t> m_lastIdleNs{0};
};
