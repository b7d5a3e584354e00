#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>

#include "NodeComm/SystemVersionInfo.h"
#include "ZMessages/ZCommEndpoint.h"
#include "ZShared/ZAllocator.h"
#include "ZShared/ZExport.h"
#include "ZShared/ZLog.h"
#include "ZShared/ZNodeUID.h"
#include "ZShared/ZSteadyClock.h"

class ZMessage;
class ZNodeComm;

// The communication layer's bookkeeping, among it the registry of node managers: which node manager
// hosts which node, and one statistics record per node manager. The registry is shared between the
// node that keeps the topology and the transport threads, so every operation takes its own locks:
// the node-to-manager table under m_nodeToManagerMutex; the statistics table under m_statsMutex,
// taken before a record's own m_mutex. The two families are never held together.
class Z_EXPORT ZCommManager {
public:
    // Key and entry of the acknowledgement bookkeeping.
    struct ackMapKey {
        std::uint32_t m_sequence = 0;
        ZCommEndpoint m_endpoint;
        friend bool operator<(const ackMapKey& a, const ackMapKey& b) {
            return a.m_sequence != b.m_sequence ? a.m_sequence < b.m_sequence : a.m_endpoint < b.m_endpoint;
        }
    };
    struct ackEntry {
        ZSteadyTimePoint m_sentAt{};
        std::int32_t m_retries = 0;
        std::shared_ptr<ZMessage> m_pMessage;
    };

    // What is known of one node manager. Fields are read and written under m_mutex.
    struct CommStats {
        std::mutex m_mutex;
        ZSteadyTimePoint m_lastContact{};  // 0 until stamped
        SystemVersionInfo m_versionInfo;
        bool m_bExempt = false;  // never declared dead by the liveness monitor
        std::int64_t m_lastSequenceSent = -1;
        std::int32_t m_windowSize = 10000;
        std::int32_t m_lastSequenceAcked = -1;
        std::uint32_t m_sessionID = 0;
        bool m_bRegistered = false;  // set when the discovery node registers the node manager
        std::shared_ptr<ZMessage> m_pLastMessage;
        ZSet<std::int32_t> m_outstandingAcks;
        ZMap<std::uint32_t, std::shared_ptr<ZMessage>> m_unackedMessages;
        ZMap<ZCommEndpoint, std::list<std::uint32_t, ZAllocator<std::uint32_t>>> m_sequencesByEndpoint;
        ZMap<std::int32_t, ZNodeComm*> m_transports;
        ZMap<ackMapKey, ackEntry> m_pendingAcks;
        ZMap<ackMapKey, ackEntry> m_receivedAcks;
    };

    ZCommManager();
    virtual ~ZCommManager();

    // Creates the node manager's record unless it has one (an existing record keeps its session,
    // version texts and exemption), then maps the node manager to itself.
    void NewNodeManager(ZNodeUID nodeManagerUID, std::uint32_t sessionID,
                        const SystemVersionInfo& versionInfo, bool exempt);
    // Maps the node to its node manager, then NewNodeManager with empty version texts.
    void RegisterNewNodeAndManager(ZNodeUID nodeManagerUID, std::uint32_t sessionID, ZNodeUID nodeUID,
                                   bool exempt);
    // Forgets the node manager and every node it hosted.
    void RemoveNodeManagerUID(ZNodeUID nodeManagerUID);
    // The registered session, or 0xFFFFFFFF for an unknown node manager.
    std::uint32_t GetSessionID(ZNodeUID nodeManagerUID);
    void SetSessionID(ZNodeUID nodeManagerUID, std::uint32_t sessionID);
    // Stamps the node manager's last contact with the steady clock; unknown ones are ignored.
    void UpdateLastNodeManagerContact(ZNodeUID nodeManagerUID);

    // Stamps the last contact of the node manager that the sender is, or belongs to; an unknown
    // sender is ignored.
    void NoteContactFrom(const ZNodeUID& senderUID);
    // The node manager a node (or node manager) maps to; false when it is unknown.
    bool FindNodeManagerOf(const ZNodeUID& nodeUID, ZNodeUID& nodeManagerUID);
    std::size_t NodeManagerCount();

    static constexpr std::uint32_t kUnknownSession = 0xFFFFFFFFu;

    const char* m_logSource = "ZCommManager";
    std::int32_t m_logLevel = LOGLEVEL_WARNING;
    std::atomic<bool> m_bChanged{false};
    std::mutex m_nodeToManagerMutex;
    ZMap<ZNodeUID, ZNodeUID> m_nodeToManager;
    std::mutex m_statsMutex;
    ZMap<ZNodeUID, std::shared_ptr<CommStats>> m_nodeManagerStats;
};
