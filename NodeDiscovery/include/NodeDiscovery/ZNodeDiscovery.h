#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "NodeBase/ZNode.h"
#include "NodeBase/ZRemovalHistoryMsg.h"
#include "NodeBase/ZTopologyMsg.h"
#include "ZShared/ZAllocator.h"
#include "ZShared/ZNodeUID.h"
#include "ZShared/ZSteadyClock.h"

class ZCommManager;
class ZDiscoveryManagerMsg;
class ZDiscoveryRequestMsg;
class ZManagerDirectory;
class ZManagerInstances;
class ZTopologyIndex;

// The single authority on the topology: it registers node managers, their nodes and plug-ins,
// records connections, answers lookups, grants the system lock and removes node managers that ask
// to go or fall silent. Its UID is always "ZNodeDiscovery1".
//
// Every removal of a node manager (asked for, after silence, or of an old session replaced by a new
// one) is kept in a short history, published retained on status/<UID>/removals after the removal,
// so that an operator can still ask why a node manager went after the fact.
//
// What it keeps across its own restarts and its node managers' restarts (ZNodeDiscoveryRecovery.cpp):
// the numbering, published retained on status/<UID>/numbering and read back at start, so that a
// restarted discovery node never hands out a UID that is still in use; and which start of each node
// manager it serves, so that a last will or a registration of a replaced process is refused.
//
// For operators it answers "getnodemanagers" (ZNodeDiscoveryManagers.cpp), subscribed apart from the
// twelve endpoints of the node managers' protocol: every registered node manager with its host,
// process, versions, session and timings, and the lock's holder.
//
// Handlers and the idle hook run one at a time on the node's pump, so the graph, the ID counters,
// the lock owner and the monitor fields take no lock. The node-manager registry lives in the
// transport's ZCommManager and is guarded by its own mutexes; no handler holds a registry lock
// across two registry operations.
class Z_EXPORT ZNodeDiscovery : public ZNode {
    Z_FACTORY_CLASS(ZNodeDiscovery)

public:
    explicit ZNodeDiscovery(const std::string& name);
    ~ZNodeDiscovery() override;

    bool OnInit(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm, ZNodeUID uid) override;
    bool OnConnected() override;
    // Runs the liveness monitor when more than 1000 ms have passed since its last run ended.
    bool OnIdle() override;
    bool ShouldRegisterWithDiscovery() const override;
    // Subscribes the twelve control endpoints; the first failed subscription ends it with false.
    bool InitMessageMap() override;

    bool OnAddNodeManager(const std::shared_ptr<ZMessage>& request);
    bool OnRemoveNodeManager(const std::shared_ptr<ZMessage>& request);
    bool OnAddNode(const std::shared_ptr<ZMessage>& request);
    bool OnAddPlugin(const std::shared_ptr<ZMessage>& request);
    bool OnGetTopo(const std::shared_ptr<ZMessage>& request);
    bool OnTopoConnect(const std::shared_ptr<ZMessage>& request);
    bool OnFindUid(const std::shared_ptr<ZMessage>& request);
    bool OnFindNode(const std::shared_ptr<ZMessage>& request);
    bool OnTopoDisconnect(const std::shared_ptr<ZMessage>& request);
    bool OnNotifyTopoChanged(const std::shared_ptr<ZMessage>& request);
    bool OnGetMasterNodeManagerUID(const std::shared_ptr<ZMessage>& request);
    bool OnLockUnlockMsg(const std::shared_ptr<ZMessage>& request);
    // The numbering of an earlier start, retained by the transport: counters only ever go up.
    bool OnNumbering(const std::shared_ptr<ZMessage>& message);
    // Answers a ZDiscoveryGetNodeManagersMsg with a ZDiscoveryNodeManagersMsg.
    bool OnGetNodeManagers(const std::shared_ptr<ZMessage>& request);

    // Removes at most one node manager that has been silent for longer than the dead time.
    bool OnMonitorTopoNodes();
    // Takes the node manager's nodes and their edges out of the graph and publishes their UIDs on
    // "nodesdisconnected"; the registry is left to the caller.
    void RemoveNodeManagerNodes(ZNodeUID nodeManagerUID);
    std::int32_t GetNextID(const std::string& className);
    std::int32_t RemoveLastID(const std::string& className);
    // Byte-wise match with '?' (any one character) and '*' (any run of characters).
    bool WildcardMatch(const char* pattern, const char* text);
    void PublishTopoChangedNotification();
    bool Lock(std::shared_ptr<ZMessage> request);
    bool Unlock(std::shared_ptr<ZMessage> request);

    // Dead time of the liveness monitor: NodeManagerTimeoutSecs of the configuration set's
    // ZSystemParams, 10 s without a configuration set or without that record.
    std::int32_t GetDeadTimeSecs() const;
    const std::shared_ptr<ZTopologyMsg>& GetTopology() const { return m_pTopology; }
    const ZNodeUID& GetLockOwner() const { return m_lockOwner; }

    std::shared_ptr<ZTopologyMsg> m_pTopology;
    ZMap<ZString, std::int32_t> m_lastIDs;
    bool m_bMonitorRunning = false;
    ZSteadyTimePoint m_lastMonitorTime{};
    ZNodeUID m_lockOwner;
    const char* m_logSource = nullptr;
    std::int32_t m_logLevel = 0;

private:
    ZCommManager* Registry() const;
    bool IsKnownToRegistry(const ZNodeUID& uid) const;
    // The node manager on whose behalf a request asks: the one a registration names, or the one
    // the sender maps to in the registry (empty when the sender is unknown).
    ZNodeUID RequesterOf(const std::shared_ptr<ZMessage>& request, bool acceptRegistration) const;
    void AnswerShuttingDown(const std::shared_ptr<ZMessage>& request);
    std::shared_ptr<ZMessage> Clone(const std::shared_ptr<ZMessage>& message) const;
    // Adds the removal to the history, dropping the oldest beyond ZRemovalHistoryMsg::kMaxRecords.
    void NoteRemoval(const ZNodeUID& nodeManagerUID, const ZString& reason);
    void PublishRemovalHistory();

    // GetNextID, passing over UIDs still in the graph once numbers of an earlier start are about.
    ZNodeUID NumberNode(const std::string& className);
    // A node numbered by an earlier start, registered again: its class's counter goes past it.
    void NoteNumberedUID(const ZDiscoveryRequestMsg& request);
    void PublishNumbering();
    // Whether a registration comes from a start of its node manager that a later one replaced;
    // answers it so when it does.
    bool RefuseSuperseded(const std::shared_ptr<ZMessage>& request);

    // ZNodeDiscoveryManagers.cpp: the lookup's endpoint and what it keeps beside the registry.
    bool SubscribeManagersLookup();
    void NoteLockTaken(const ZNodeUID& requester);
    void NoteManagerRegistered(const ZDiscoveryManagerMsg& registration);

    ZVector<ZRemovalRecord> m_removals;  // oldest first
    std::unique_ptr<ZManagerInstances> m_pInstances;
    std::unique_ptr<ZTopologyIndex> m_pIndex;  // what lookups search m_pTopology for
    std::unique_ptr<ZManagerDirectory> m_pDirectory;
    bool m_bNumberedBefore = false;    // numbers of an earlier start are in use
    bool m_bNumberingChanged = false;  // not yet published
};
