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

class ZNodeCommMQTT;
class ZTopologyMsg;
class ZTopologyRequest;

// A client of the test's own on the broker, as an operator's tool would be: it asks the discovery
// node for its graph and for lookups, and keeps what the discovery node publishes (topochanged,
// nodesdisconnected, the retained removal history).
class ZTopologyObserver {
public:
    // One removal of the discovery node's history.
    struct ZRemoval {
        std::string m_nodeManagerUID;
        std::int64_t m_timeUs = 0;  // the discovery node's wall clock
        std::string m_reason;
    };

    explicit ZTopologyObserver(std::string brokerURL, std::string uid = "Observer");
    ~ZTopologyObserver();
    ZTopologyObserver(const ZTopologyObserver&) = delete;
    ZTopologyObserver& operator=(const ZTopologyObserver&) = delete;

    // Connects and listens; false, with the reason, when the broker is not reached in time.
    bool Connect(std::chrono::milliseconds timeout, std::string* error = nullptr);

    // The graph ("gettopo"); null when no answer came in time.
    std::shared_ptr<ZTopologyMsg> Topology(std::chrono::milliseconds timeout = std::chrono::seconds(2));
    // Asks for the graph after every publication of the discovery node, and at least every quarter
    // second, until `ready` holds for it.
    bool WaitForTopology(const std::function<bool(const ZTopologyMsg&)>& ready,
                         std::chrono::milliseconds timeout);
    // The answer to "findnode": 1 the discovery node knows the node manager, 0 it does not, -1 no
    // answer in time.
    int FindNodeManager(const std::string& uid, std::chrono::milliseconds timeout = std::chrono::seconds(2));

    std::size_t TopoChangedCount() const;
    // Every UID published on nodesdisconnected, in order of arrival.
    std::vector<std::string> DisconnectedUIDs() const;
    // The reason of the latest removal of the node manager in the removal history; empty when it
    // holds none.
    std::string RemovalReason(const std::string& nodeManagerUID) const;
    // The reasons of every removal of the node manager that the history holds, oldest first.
    std::vector<std::string> RemovalReasons(const std::string& nodeManagerUID) const;
    // Every removal any published history held since Connect, each once, oldest first: a history
    // keeps only the latest 64, and a restarted discovery node starts a new one.
    std::vector<ZRemoval> Removals() const;
    // Connections made to the broker so far, the first one included.
    std::size_t ConnectCount() const;

    // The graph as sorted lines, one per node ("uid@nodeManagerUID class") and per edge
    // ("from -> to"): two graphs with the same signature hold the same nodes and connections.
    static std::vector<std::string> Signature(const ZTopologyMsg& topology);
    static bool HasNode(const ZTopologyMsg& topology, const std::string& uid);

private:
    // Under m_mutex.
    void KeepRemoval(ZRemoval removal);

    const std::string m_url;
    const std::string m_uid;
    std::shared_ptr<ZNodeCommMQTT> m_pComm;
    std::unique_ptr<ZTopologyRequest> m_pRequest;
    std::atomic<std::size_t> m_publications{0};

    mutable std::mutex m_mutex;  // what the deliveries keep
    std::size_t m_topoChanged = 0;
    std::vector<std::string> m_disconnected;
    std::vector<std::pair<std::string, std::string>> m_removals;  // node manager, reason
    std::vector<ZRemoval> m_allRemovals;
};
