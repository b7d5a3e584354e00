#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "NodeBase/ZNode.h"
#include "NodeBase/ZNodeManagerConfig.h"
#include "ZShared/ZEnumNames.h"
#include "ZShared/ZSteadyClock.h"

enum ZNodeManagerState : std::int32_t {
    NMSTATE_STOPPED = 0,
    NMSTATE_REGISTERING = 1,        // asking the discovery node to register the manager
    NMSTATE_REGISTERING_NODES = 2,  // registered; its nodes are being registered
    NMSTATE_RUNNING = 3,            // everything registered; sending its sign of life
    NMSTATE_SUPERSEDED = 4,         // another start of the same node manager replaced this one
};
Z_ENUM_NAMES(ZNodeManagerState, {NMSTATE_STOPPED, "NMSTATE_STOPPED"},
             {NMSTATE_REGISTERING, "NMSTATE_REGISTERING"},
             {NMSTATE_REGISTERING_NODES, "NMSTATE_REGISTERING_NODES"}, {NMSTATE_RUNNING, "NMSTATE_RUNNING"},
             {NMSTATE_SUPERSEDED, "NMSTATE_SUPERSEDED"});

// Hosts the nodes of one process or device and keeps them registered with the discovery node.
//
// Load creates the configured nodes by class name. The start initializes them on the manager's
// transport, then registers: "addnodemanager" (retried with a back-off of 0.5 s doubling to 8 s
// while the discovery node is silent, and after 50 to 150 ms while another manager holds its lock),
// one "addnode" per node, an
// "addplugin" per module, a "topoconnect" per connection, "notifytopochanged", and finally an unlock
// of the lock the registration took. Running, it sends "findnode" for itself every third of the dead
// time; the transport counts that as contact, and an answer that it is unknown (the discovery node
// restarted or removed it) makes it register again with a new session. The period follows the dead
// time the discovery node applies, which its registration answer names, whatever this manager's own
// configuration says.
//
// Every start of the manager has an ID of its own (the start ID), carried by its registration, its
// last will and its goodbye, so that the discovery node acts only on the start it serves. After its
// transport reconnects, or when it sees itself listed as disconnected, the manager asks again with
// its current session whether it is still registered. A start that the discovery node says was
// replaced by a newer one (a second process under the same UID) stops competing: it says so once,
// enters NMSTATE_SUPERSEDED and tells its host, which stops it without a goodbye.
//
// With a pump thread of its own (Start), the manager starts its nodes' pump threads from it; without
// (StartManual), the caller drives every pump. A hosted node that waits for the discovery node to
// number it starts its pump only once it has its UID, so that the UID never changes under a running
// pump. Nodes that do not register (the discovery node itself) get this manager as their master
// node manager and start before the registration.
//
// Presence over a broker: before connecting, the manager leaves its transport a last will, which
// the broker publishes if the connection dies without a goodbye. A manager hosting the discovery
// node wills status/<discovery UID>/online to say offline, publishes it online (retained, with a
// start ID new for every start) once the discovery node is up, and offline when it stops; any other
// manager wills a "removenodemanager" for itself with the reason "connection lost", so that the
// discovery node need not wait out the dead time. Every manager follows that online status, and a
// start ID other than the one it saw before means the discovery node restarted and has forgotten
// it: it registers again with a new session.
//
// Handlers and OnIdle run on the manager's pump; the getters below may be called from any thread.
class Z_EXPORT ZNodeManager : public ZNode {
    Z_FACTORY_CLASS(ZNodeManager)

public:
    static constexpr const char* kFrameworkVersion = "2.151";

    explicit ZNodeManager(const std::string& name = std::string());
    ~ZNodeManager() override;

    // Takes the configuration: the manager's UID and configuration set, and one node per entry,
    // made by the factory and given its configuration set. False, with nothing kept, for a class
    // the factory cannot make as a node, or once started.
    bool Load(std::shared_ptr<ZNodeManagerConfig> config);
    // Starts the hosted nodes and the manager on the transport, with pump threads.
    bool Start(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm = nullptr);
    // The same without pump threads: the caller drives the manager and its nodes (PumpUntilIdle).
    bool StartManual(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm = nullptr);
    // Leaves the topology ("removenodemanager") when registered, then stops the hosted nodes and
    // the manager. When the manager hosts the discovery node and runs pump threads, it waits (at
    // most kLeaveTimeout) until the discovery node has taken it out, so the request is not lost with
    // the node that should handle it.
    void Stop();
    // Stops the hosted nodes and the manager without a word to the discovery node, as a crash or
    // a power loss would; the liveness monitor removes it once the dead time has passed.
    void Halt();

    bool OnInit(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm, ZNodeUID uid) override;
    bool InitMessageMap() override;
    // Leaves the last will with the transport, which must have it before it connects.
    void OnConnecting() override;
    // Starts the hosted nodes, then the registration.
    bool OnConnected() override;
    // Retries, time-outs and the sign of life.
    bool OnIdle() override;
    bool OnShutdown(bool wait) override;
    // A node manager registers itself with "addnodemanager", never as a node.
    bool ShouldRegisterWithDiscovery() const override;

    bool OnAddNodeManagerResponse(const std::shared_ptr<ZMessage>& response);
    bool OnAddNodeResponse(const std::shared_ptr<ZMessage>& response);
    bool OnAddPluginResponse(const std::shared_ptr<ZMessage>& response);
    bool OnTopoConnectResponse(const std::shared_ptr<ZMessage>& response);
    bool OnFindNodeResponse(const std::shared_ptr<ZMessage>& response);
    bool OnTopoChanged(const std::shared_ptr<ZMessage>& notification);
    bool OnNodesDisconnected(const std::shared_ptr<ZMessage>& notification);
    bool OnDiscoveryOnlineStatus(const std::shared_ptr<ZMessage>& status);

    ZNodeManagerState GetState() const { return m_state.load(); }
    // The session of the current registration; 0 before the first.
    std::uint32_t GetSessionID() const { return m_sessionID.load(); }
    // How many times the manager reached NMSTATE_RUNNING.
    std::size_t GetRegistrationCount() const { return m_registrations.load(); }
    // The master node manager the discovery node named in its last registration answer.
    ZNodeUID GetMasterNodeManagerUIDFromDiscovery() const;
    const ZNodeUID& GetDiscoveryUID() const { return m_discoveryUID; }
    // Whether one of the hosted nodes is the discovery node (fixed once loaded).
    bool HostsDiscovery() const { return m_bHostsDiscovery; }
    std::int32_t GetDeadTimeSecs() const;
    // A third of the dead time that the discovery node applies, once its answer named it; of the
    // manager's own until then.
    std::chrono::milliseconds GetSignOfLifePeriod() const;
    // This start's ID, new for every start; 0 before the first.
    std::int64_t GetStartID() const { return m_startID.load(); }
    // Called on the manager's pump once the discovery node said another start replaced this one.
    void SetOnSuperseded(std::function<void()> onSuperseded);
    // The wait before registration attempt `attempt` + 1: 0.5 s doubling to 8 s.
    static std::chrono::milliseconds Backoff(std::int32_t attempt);
    // The wait before asking again while another manager holds the lock: 50 to 150 ms, spread by
    // the UID and the attempt.
    static std::chrono::milliseconds LockedRetryWait(const ZNodeUID& uid, std::int32_t attempt);

    // Fixed once loaded.
    std::vector<std::shared_ptr<ZNode>> GetHostedNodes() const;
    const std::shared_ptr<ZNodeManagerConfig>& GetConfig() const { return m_pConfig; }

    std::size_t GetTopoChangedCount() const { return m_topoChangedCount.load(); }
    std::size_t GetNodesDisconnectedCount() const { return m_nodesDisconnectedCount.load(); }
    std::vector<std::string> GetLastDisconnectedUIDs() const;

    static constexpr std::chrono::milliseconds kLeaveTimeout{2000};

private:
    struct ZHosted {
        std::shared_ptr<ZNode> m_pNode;
        ZString m_className;
        ZString m_group;
        bool m_bRegisters = true;
        bool m_bUIDFinal = false;  // configured, or given by the discovery node
        bool m_bNumbered = false;  // given by the discovery node's numbering
        bool m_bAnswered = false;  // its "addnode" was answered in the current registration
    };
    enum ZWait : std::int32_t {
        WAIT_ANSWER,  // for the answer to the last "addnodemanager"
        WAIT_RETRY,   // before the next attempt
    };

    bool StartHostedNodes();
    void StartHostedPumps();
    // With keepSession, asks whether the current session is still registered, and registers it
    // again only if not.
    void StartRegistration(bool keepSession = false);
    void Supersede();
    // Remembers the dead time the discovery node applies; warns once when it is not the manager's.
    void FollowDeadTime(std::int32_t discoverySecs);
    void SendRegistration();
    void RetryLater(const char* why, bool locked = false);
    void RegisterNodes();
    void FinishRegistration();
    void SendSignOfLife();
    void LeaveTopology();
    void StopHostedNodes();
    // The discovery node's presence as this manager publishes it (retained), and wills it.
    std::shared_ptr<ZMessage> OnlineStatus(bool online) const;
    void PublishOnlineStatus(bool online);
    // The online status again, not retained, every sign-of-life period: a manager whose broker (a
    // cluster node) does not hand it the retained status still learns which start serves it.
    void RepeatOnlineStatus(ZSteadyTimePoint now);
    bool SendRequest(const char* name, std::shared_ptr<ZMessage> request);
    bool SubscribeHandler(ZEndpointType type, const ZNodeUID& uid, const char* name,
                          bool (ZNodeManager::*handler)(const std::shared_ptr<ZMessage>&));
    void SetState(ZNodeManagerState state);
    static std::uint32_t NewSessionID(std::uint32_t previous);

    std::shared_ptr<ZNodeManagerConfig> m_pConfig;
    std::vector<ZHosted> m_hosted;
    ZNodeUID m_discoveryUID;
    bool m_bHostsDiscovery = false;
    std::atomic<bool> m_bLeaveOnStop{true};
    std::atomic<std::int64_t> m_startID{0};
    std::atomic<bool> m_bOnlinePublished{false};

    // Pump-owned.
    bool m_bHostedPumps = false;
    ZWait m_wait = WAIT_ANSWER;
    std::int32_t m_attempt = 0;
    std::size_t m_pendingNodes = 0;
    ZSteadyTimePoint m_deadline{};
    ZSteadyTimePoint m_nextSignOfLife{};
    ZSteadyTimePoint m_nextOnlineRepeat{};
    bool m_bDiscoveryStartSeen = false;
    std::int64_t m_discoveryStartID = 0;
    bool m_bVerifying = false;  // asking with the current session whether it is still registered
    std::uint64_t m_connectionsSeen = 0;

    std::atomic<ZNodeManagerState> m_state{NMSTATE_STOPPED};
    std::atomic<std::uint32_t> m_sessionID{0};
    std::atomic<std::int32_t> m_discoveryDeadTimeSecs{0};  // 0 until the discovery node names it
    std::atomic<std::size_t> m_registrations{0};
    std::atomic<std::size_t> m_topoChangedCount{0};
    std::atomic<std::size_t> m_nodesDisconnectedCount{0};
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lastDisconnected;
    ZNodeUID m_masterFromDiscovery;
    std::function<void()> m_onSuperseded;
};
