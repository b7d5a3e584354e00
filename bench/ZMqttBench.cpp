// zmqttbench: the framework's figures over a real broker, each beside a plain libmosquitto baseline
// through the same broker in the same run. It starts a mosquitto of its own on a free loopback port,
// runs the discovery node in this process on the MQTT transport, and starts znodemanager processes
// for the kill test. Measured: the "finduid" round trip, a registration storm of many node managers
// (raw protocol clients; with --node-managers also real ZNodeManagers) and the time from a node
// manager's SIGKILL to its removal. Timings are printed, never judged: the exit code is 1 only when
// something was lost, duplicated or never seen.
#include <fcntl.h>
#include <mosquitto.h>
#include <signal.h>
#include <spawn.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "NodeBase/ZDiscoveryFindUIDMsg.h"
#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZDiscoveryTopoChangeNotificationMsg.h"
#include "NodeBase/ZNodeManager.h"
#include "NodeBase/ZNodeManagerConfig.h"
#include "NodeBase/ZNodeUIDMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "NodeBase/ZTopologyMsg.h"
#include "NodeComm/ZCommManager.h"
#include "NodeComm/ZNodeCommMQTT.h"
#include "NodeComm/ZTransportFactory.h"
#include "NodeDiscovery/ZNodeDiscovery.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZShared/CID.h"
#include "ZShared/ZLog.h"
#include "ZShared/ZMakeShared.h"
#include "ZTestKit/ZTestBroker.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kDiscoveryUID = "ZNodeDiscovery1";
constexpr const char* kTargetClass = "ZBenchRadar";
constexpr const char* kAsker = "Bench-Asker";
constexpr const char* kRawAsker = "Bench-RawAsker";
constexpr const char* kWatcher = "Bench-Watch";
constexpr const char* kEchoIn = "bench/echo/in/";
constexpr const char* kEchoOut = "bench/echo/out/";
constexpr std::int32_t kDiscoveryDeadTimeSecs = 30;   // long enough that no storm manager falls silent
constexpr std::int32_t kLargeMessageBytes = 8 << 20;  // a topology of a few thousand nodes, as JSON
constexpr milliseconds kAnswerTimeout{5000};
constexpr const char* kBrokerQueue = "max_queued_messages 100000";
constexpr int kBlocks = 4;  // the round trips alternate in blocks, so that drift hits both sides

double Micros(Clock::duration duration) {
    return std::chrono::duration<double, std::micro>(duration).count();
}

template <class T>
std::shared_ptr<T> As(const std::shared_ptr<ZMessage>& message) {
    if (!message || !ZShared::CID::IsKindOf(T::m_cid, message->GetCID())) {
        return nullptr;
    }
    return std::static_pointer_cast<T>(message);
}

// Nearest-rank percentile of the samples; 0 for none.
double Percentile(std::vector<double> samples, double fraction) {
    if (samples.empty()) {
        return 0.0;
    }
    std::sort(samples.begin(), samples.end());
    const auto rank = static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(samples.size())));
    return samples[std::clamp<std::size_t>(rank, 1, samples.size()) - 1];
}

std::string Format(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

// The transport's lines at warning and above are counted and the first few kept for the report;
// the rest of the log is dropped, as in zbench: the figures measure the work, not the log.
class ZBenchLogSink : public ZLogSink {
public:
    void Write(const ZLogRecord& record) override {
        if (record.level < LOGLEVEL_WARNING) {
            return;
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_lines.size() < 5) {
            m_lines.push_back(record.source + ": " + record.text);
        }
        ++m_count;
    }
    std::vector<std::string> Lines(std::size_t& count) const {
        std::lock_guard<std::mutex> lock(m_mutex);
        count = m_count;
        return m_lines;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
    std::size_t m_count = 0;
};

// Arrivals counted by one thread and awaited by another, with the time of the latest.
class ZArrivals {
public:
    void Note() {
        const auto now = Clock::now();
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_count;
            m_last = now;
        }
        m_changed.notify_all();
    }
    bool WaitFor(std::uint64_t count, milliseconds timeout) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return m_count >= count; });
    }
    std::uint64_t Count() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_count;
    }
    Clock::time_point Last() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_last;
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::uint64_t m_count = 0;
    Clock::time_point m_last{};
};

// A plain libmosquitto client, QoS 1 like the transport, with nothing of the framework: the
// baseline side of every comparison. Connect returns once the broker has acknowledged the
// subscriptions, so nothing sent afterwards can miss them.
class ZRawClient {
public:
    using Handler = std::function<void(ZRawClient& client, const mosquitto_message& message)>;

    ZRawClient(std::string id, std::vector<std::string> topics, Handler handler)
        : m_id(std::move(id)), m_topics(std::move(topics)), m_handler(std::move(handler)) {}
    ~ZRawClient() {
        if (m_pClient != nullptr) {
            mosquitto_disconnect(m_pClient);
            mosquitto_loop_stop(m_pClient, false);
            mosquitto_destroy(m_pClient);
        }
    }
    ZRawClient(const ZRawClient&) = delete;
    ZRawClient& operator=(const ZRawClient&) = delete;

    bool Connect(int port) {
        m_pClient = mosquitto_new(m_id.c_str(), true, this);
        if (m_pClient == nullptr) {
            return false;
        }
        mosquitto_connect_callback_set(m_pClient, &ZRawClient::OnConnect);
        mosquitto_subscribe_callback_set(m_pClient, &ZRawClient::OnSubscribe);
        mosquitto_message_callback_set(m_pClient, &ZRawClient::OnMessage);
        mosquitto_int_option(m_pClient, MOSQ_OPT_TCP_NODELAY, 1);
        if (mosquitto_connect(m_pClient, "127.0.0.1", port, 30) != MOSQ_ERR_SUCCESS ||
            mosquitto_loop_start(m_pClient) != MOSQ_ERR_SUCCESS) {
            return false;
        }
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_ready.wait_for(lock, std::chrono::seconds(10),
                                [this] { return m_bConnected && m_subscribed == m_topics.size(); });
    }
    bool Publish(const std::string& topic, const void* payload, std::size_t size) {
        return mosquitto_publish(m_pClient, nullptr, topic.c_str(), static_cast<int>(size), payload, 1,
                                 false) == MOSQ_ERR_SUCCESS;
    }

private:
    static void OnConnect(mosquitto* client, void* self, int rc) {
        auto& raw = *static_cast<ZRawClient*>(self);
        if (rc != 0) {
            return;
        }
        for (const auto& topic : raw.m_topics) {
            mosquitto_subscribe(client, nullptr, topic.c_str(), 1);
        }
        std::lock_guard<std::mutex> lock(raw.m_mutex);
        raw.m_bConnected = true;
        raw.m_ready.notify_all();
    }
    static void OnSubscribe(mosquitto*, void* self, int, int, const int*) {
        auto& raw = *static_cast<ZRawClient*>(self);
        std::lock_guard<std::mutex> lock(raw.m_mutex);
        ++raw.m_subscribed;
        raw.m_ready.notify_all();
    }
    static void OnMessage(mosquitto*, void* self, const mosquitto_message* message) {
        auto& raw = *static_cast<ZRawClient*>(self);
        if (message != nullptr && raw.m_handler) {
            raw.m_handler(raw, *message);
        }
    }

    std::string m_id;
    std::vector<std::string> m_topics;
    Handler m_handler;
    mosquitto* m_pClient = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_ready;
    bool m_bConnected = false;
    std::size_t m_subscribed = 0;
};

// The baseline's far end: every payload on bench/echo/in/<x> goes straight back on bench/echo/out/<x>.
std::unique_ptr<ZRawClient> MakeEcho(int port) {
    auto echo = std::make_unique<ZRawClient>(
        "Bench-Echo", std::vector<std::string>{std::string(kEchoIn) + "+"},
        [](ZRawClient& client, const mosquitto_message& message) {
            const std::size_t prefix = std::strlen(kEchoIn);
            const std::string topic = message.topic != nullptr ? message.topic : "";
            if (topic.size() > prefix) {
                client.Publish(kEchoOut + topic.substr(prefix), message.payload,
                               static_cast<std::size_t>(message.payloadlen));
            }
        });
    if (!echo->Connect(port)) {
        return nullptr;
    }
    return echo;
}

ZCommsParams TransportParams(const std::string& url, std::int32_t window, std::int32_t maxMessageBytes) {
    ZCommsParams params;
    params.TransportURL = url.c_str();
    params.bZCoreBlockUntilConnect = true;
    params.nMaxOutstandingMessages = window;
    params.nMaxMessageBytes = maxMessageBytes;
    return params;
}

std::shared_ptr<ZNodeCommMQTT> MakeTransport(const ZCommsParams& params, const std::string& clientID) {
    std::string error;
    auto comm = std::dynamic_pointer_cast<ZNodeCommMQTT>(ZTransportFactory::Make(params, clientID, error));
    if (!comm) {
        std::fprintf(stderr, "zmqttbench: transport for <%s>: %s\n", clientID.c_str(), error.c_str());
    }
    return comm;
}

// Stamps the request as `asker`'s and publishes it on the discovery node's control endpoint.
bool SendToDiscovery(ZNodeComm& comm, const ZNodeUID& asker, const char* name,
                     std::shared_ptr<ZMessage> request) {
    const ZCommEndpoint endpoint(ZNodeUID(kDiscoveryUID), EP_CONTROL, name);
    request->SetSource(ZCommEndpoint(asker, EP_CONTROL, name));
    request->SetEndpoint(endpoint);
    return comm.Publish(endpoint, request);
}

// One registration storm.
struct ZStormFigures {
    double m_secs = 0;            // from the first request to the last manager's last answer
    std::uint64_t m_traffic = 0;  // messages published and received by the managers and the discovery node
    std::uint64_t m_denials = 0;
    std::uint64_t m_duplicates = 0;
    std::uint64_t m_lost = 0;
    std::size_t m_graphNodes = 0;
    std::size_t m_graphExpected = 0;
    bool m_bGraphChecked = false;
};

// What the run measured, for the table.
struct ZResults {
    std::size_t m_requestBytes = 0;
    std::size_t m_answerBytes = 0;
    std::vector<double> m_echo;
    std::vector<double> m_findUid;
    std::vector<double> m_findUidRaw;

    ZStormFigures m_storm;              // all at once
    ZStormFigures m_inTurn;             // one manager after another
    double m_nodeManagerSecs = 0;       // ZNodeManagers started at once, until all run
    double m_nodeManagerStartSecs = 0;  // until the last one's Start returned
    std::size_t m_nodeManagersRunning = 0;
    std::size_t m_nodeManagerGraph = 0;
    std::size_t m_addNodeBytes = 0;
    double m_echoStormSecs = 0;
    std::uint64_t m_echoStormLost = 0;

    std::vector<double> m_killMs;
    int m_killsMissed = 0;
    int m_kills = 0;

    bool m_bFailed = false;
};

// The discovery node in this process, on a transport of its own, with one node of kTargetClass
// in its graph for "finduid" to find.
class ZBenchDiscovery {
public:
    bool Start(const std::string& url, std::int32_t window, bool keepLog) {
        m_pComm = MakeTransport(TransportParams(url, window, kLargeMessageBytes), kDiscoveryUID);
        if (!m_pComm) {
            return false;
        }
        auto config = ZMakeShared<ZCoreConfigParams>();
        auto system = ZMakeShared<ZSystemParams>();
        system->m_nodeManagerTimeoutSecs = kDiscoveryDeadTimeSecs;
        config->SetConfig(system);
        m_sut = ZMakeShared<ZNodeDiscovery>("discovery");
        m_sut->SetConfigParams(config);
        if (!m_sut->Initialize(m_pComm, nullptr, m_sut->GetUID())) {
            return false;
        }
        if (!keepLog) {
            m_sut->m_logLevel = 0;
            m_sut->m_pTopology->m_logLevel = 0;
        }
        // Before the pump starts, so nothing else touches the graph yet.
        const ZNodeUID manager("Bench-Target-NM");
        const ZNodeUID target("BenchRadar1");
        m_sut->m_pTopology->m_nodes.emplace_back(target, "radar", ZStringList(), kTargetClass, "Bench",
                                                 manager);
        m_pComm->GetCommManager()->RegisterNewNodeAndManager(manager, 1, target, true);
        return m_sut->StartPump();
    }
    // Messages its transport has published and received so far.
    std::uint64_t Traffic() const {
        const auto stats = m_pComm->GetStats();
        return stats.m_published + stats.m_received;
    }
    void Stop() {
        if (m_sut) {
            m_sut->StopAction(true);
        }
        if (m_pComm) {
            m_pComm->Disconnect();
        }
    }

private:
    std::shared_ptr<ZNodeCommMQTT> m_pComm;
    std::shared_ptr<ZNodeDiscovery> m_sut;
};

// Asks the discovery node through the framework's transport, one request at a time.
class ZAsker {
public:
    bool Start(const std::string& url) {
        m_pComm = MakeTransport(TransportParams(url, 64, kLargeMessageBytes), kAsker);
        if (!m_pComm) {
            return false;
        }
        for (const char* name : {"finduid", "gettopo"}) {
            m_pComm->Subscribe(ZCommEndpoint(ZNodeUID(kAsker), EP_RESPONSE, name),
                               [this](const ZCommEndpoint&, const std::shared_ptr<ZMessage>& message) {
                                   {
                                       std::lock_guard<std::mutex> lock(m_mutex);
                                       m_pLast = message;
                                   }
                                   m_arrivals.Note();
                               });
        }
        return m_pComm->Connect();
    }
    // The answer and its round trip (from just before the publication to its arrival); null when
    // none came within the timeout.
    std::shared_ptr<ZMessage> Ask(const char* name, std::shared_ptr<ZMessage> request, double& micros,
                                  milliseconds timeout = kAnswerTimeout) {
        const std::uint64_t before = m_arrivals.Count();
        const auto start = Clock::now();
        if (!SendToDiscovery(*m_pComm, ZNodeUID(kAsker), name, std::move(request)) ||
            !m_arrivals.WaitFor(before + 1, timeout)) {
            return nullptr;
        }
        micros = Micros(m_arrivals.Last() - start);
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_pLast;
    }
    std::shared_ptr<ZNodeUIDMsg> FindTarget(double& micros) {
        auto request = ZMakeShared<ZDiscoveryFindUIDMsg>();
        request->m_className = kTargetClass;
        request->SetResponseRequested(true);
        return As<ZNodeUIDMsg>(Ask("finduid", request, micros));
    }
    void Stop() {
        if (m_pComm) {
            m_pComm->Disconnect();
        }
    }

private:
    std::shared_ptr<ZNodeCommMQTT> m_pComm;
    ZArrivals m_arrivals;
    std::mutex m_mutex;
    std::shared_ptr<ZMessage> m_pLast;
};

// Publishes a fixed payload and times its answer on one topic, one at a time: the echo's prober,
// and the raw asker that sends the discovery node a ready-encoded "finduid".
class ZRawProbe {
public:
    ZRawProbe(std::string id, std::string answerTopic)
        : m_client(std::move(id), {std::move(answerTopic)},
                   [this](ZRawClient&, const mosquitto_message& message) {
                       {
                           std::lock_guard<std::mutex> lock(m_mutex);
                           m_last.assign(static_cast<const char*>(message.payload),
                                         static_cast<std::size_t>(message.payloadlen));
                       }
                       m_arrivals.Note();
                   }) {}
    bool Connect(int port) { return m_client.Connect(port); }
    // The round trip in µs, or a negative value when no answer came.
    double Probe(const std::string& topic, const std::string& payload,
                 milliseconds timeout = kAnswerTimeout) {
        const std::uint64_t before = m_arrivals.Count();
        const auto start = Clock::now();
        if (!m_client.Publish(topic, payload.data(), payload.size()) ||
            !m_arrivals.WaitFor(before + 1, timeout)) {
            return -1.0;
        }
        return Micros(m_arrivals.Last() - start);
    }
    std::string LastPayload() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_last;
    }

private:
    ZArrivals m_arrivals;
    std::mutex m_mutex;
    std::string m_last;
    ZRawClient m_client;  // last: its thread may call back until it is destroyed
};

// Counts shared by the storm's node managers.
struct ZStormTally {
    std::atomic<std::uint64_t> m_registered{0};  // managers and nodes answered as registered
    std::atomic<std::uint64_t> m_denials{0};     // "addnodemanager" answered "locked by another"
    std::atomic<std::uint64_t> m_duplicates{0};  // a second answer for the same request
    std::atomic<std::uint64_t> m_strays{0};      // answers that fit no request
    ZArrivals m_finished;                        // managers with every node answered
};

// ZNodeManager's first back-off: a manager that waits for a change waits no longer than this.

// One node manager of the storm, speaking the registration protocol on a connection of its own:
// "addnodemanager"; once registered, all of its "addnode"s at once (within the transport's window);
// once all are answered, "notifytopochanged" and the unlock, as ZNodeManager does. The discovery
// node registers one manager at a time (the registration takes its lock), so a manager turned away
// asks again after the wait ZNodeManager takes (ZNodeManager::LockedRetryWait). Managers in turn
// instead begin as soon as the one before has sent its unlock, and ask again at once when they
// overtook it: the lock's best case. Answers arrive on the transport's thread, the retries on the
// main thread: the state is under m_mutex.
class ZStormManager {
public:
    ZStormManager(int index, int nodes, bool inTurn, ZStormTally& tally)
        : m_uid(std::string("Storm-NM-") +
                (index < 10    ? "00"
                 : index < 100 ? "0"
                               : "") +
                std::to_string(index)),
          m_session(0x5EED0000u + static_cast<std::uint32_t>(index)),
          m_bInTurn(inTurn),
          m_answered(static_cast<std::size_t>(nodes), false),
          m_tally(tally) {}

    bool Connect(const std::string& url, std::int32_t window) {
        m_pComm = MakeTransport(TransportParams(url, window, 0), m_uid.c_str());
        if (!m_pComm) {
            return false;
        }
        const auto on = [this](void (ZStormManager::*handler)(const std::shared_ptr<ZMessage>&)) {
            return [this, handler](const ZCommEndpoint&, const std::shared_ptr<ZMessage>& message) {
                (this->*handler)(message);
            };
        };
        m_pComm->Subscribe(ZCommEndpoint(m_uid, EP_RESPONSE, "addnodemanager"),
                           on(&ZStormManager::OnAddNodeManagerResponse));
        m_pComm->Subscribe(ZCommEndpoint(m_uid, EP_RESPONSE, "addnode"),
                           on(&ZStormManager::OnAddNodeResponse));
        return m_pComm->Connect();
    }
    // With managers in turn, the next one begins when this one has sent its unlock.
    void SetNext(ZStormManager* next) { m_pNext = next; }
    void Begin() {
        std::lock_guard<std::mutex> lock(m_mutex);
        SendRegistration();
    }
    // Asks again once the wait that ZNodeManager takes after a refusal for the lock has passed.
    void RetryIfDue(Clock::time_point now) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_bWaiting && now >= m_retryAt) {
            SendRegistration();
        }
    }
    // Leaves the topology; the discovery node confirms on "nodesdisconnected".
    void Leave() {
        auto request = ZMakeShared<ZRemoveNodeManagerMsg>();
        request->m_nodeManagerUID = m_uid;
        request->m_reason = "benchmark over";
        SendToDiscovery(*m_pComm, m_uid, "removenodemanager", request);
    }
    void Disconnect() { m_pComm->Disconnect(); }
    std::uint64_t Traffic() const {
        const auto stats = m_pComm->GetStats();
        return stats.m_published + stats.m_received;
    }
    std::size_t Unanswered() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<std::size_t>(std::count(m_answered.begin(), m_answered.end(), false)) +
               (m_bRegistered ? 0 : 1);
    }

private:
    // The caller holds m_mutex.
    void SendRegistration() {
        ++m_attempt;
        m_bWaiting = false;
        auto request = ZMakeShared<ZDiscoveryManagerMsg>();
        request->m_nodeManagerUID = m_uid;
        request->m_group = "Storm";
        request->m_hostName = "bench";
        request->m_processID = static_cast<std::int32_t>(getpid());
        request->m_versionInfo.m_frameworkVersion = ZNodeManager::kFrameworkVersion;
        request->m_remoteTimeUs = std::chrono::duration_cast<std::chrono::microseconds>(
                                      std::chrono::system_clock::now().time_since_epoch())
                                      .count();
        request->m_sessionID = m_session;
        request->SetResponseRequested(true);
        request->SetDeliveryInfo(m_attempt > 1 ? m_attempt : 0);
        SendToDiscovery(*m_pComm, m_uid, "addnodemanager", request);
    }
    void OnAddNodeManagerResponse(const std::shared_ptr<ZMessage>& message) {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto answer = As<ZDiscoveryManagerMsg>(message);
        if (!answer || answer->m_sessionID != m_session) {
            ++m_tally.m_strays;
            return;
        }
        if (m_bRegistered) {
            ++m_tally.m_duplicates;
            return;
        }
        if (!answer->m_bRegistered) {
            ++m_tally.m_denials;
            if (m_bInTurn) {
                SendRegistration();
            } else {
                m_bWaiting = true;
                m_retryAt = Clock::now() + ZNodeManager::LockedRetryWait(m_uid, m_attempt);
            }
            return;
        }
        m_bRegistered = true;
        ++m_tally.m_registered;
        for (std::size_t i = 0; i < m_answered.size(); ++i) {
            auto request = ZMakeShared<ZDiscoveryRequestMsg>();
            request->m_name = NodeName(i).c_str();
            request->m_className = "ZBenchNode";
            request->m_group = "Storm";
            request->m_nodeManagerUID = m_uid;
            request->SetResponseRequested(true);
            SendToDiscovery(*m_pComm, m_uid, "addnode", request);
        }
    }
    void OnAddNodeResponse(const std::shared_ptr<ZMessage>& message) {
        std::unique_lock<std::mutex> lock(m_mutex);
        const auto answer = As<ZDiscoveryRequestMsg>(message);
        std::size_t index = m_answered.size();
        if (answer && answer->m_nodeManagerUID == m_uid && !answer->m_uid.IsEmpty()) {
            for (std::size_t i = 0; i < m_answered.size(); ++i) {
                if (answer->m_name == NodeName(i).c_str()) {
                    index = i;
                    break;
                }
            }
        }
        if (index == m_answered.size()) {
            ++m_tally.m_strays;
            return;
        }
        if (m_answered[index]) {
            ++m_tally.m_duplicates;
            return;
        }
        m_answered[index] = true;
        ++m_tally.m_registered;
        if (++m_answeredCount < m_answered.size()) {
            return;
        }
        SendToDiscovery(*m_pComm, m_uid, "notifytopochanged",
                        ZMakeShared<ZDiscoveryTopoChangeNotificationMsg>());
        auto unlock = ZMakeShared<ZDiscoveryLockUnlockMsg>();
        unlock->m_bLock = false;
        SendToDiscovery(*m_pComm, m_uid, "locking", unlock);
        lock.unlock();
        m_tally.m_finished.Note();
        if (m_pNext != nullptr) {
            m_pNext->Begin();
        }
    }
    std::string NodeName(std::size_t i) const {
        return std::string(m_uid.c_str()) + "-n" + std::to_string(i);
    }

    const ZNodeUID m_uid;
    const std::uint32_t m_session;
    const bool m_bInTurn;
    std::shared_ptr<ZNodeCommMQTT> m_pComm;
    ZStormManager* m_pNext = nullptr;
    mutable std::mutex m_mutex;
    std::int32_t m_attempt = 0;
    bool m_bRegistered = false;
    bool m_bWaiting = false;  // turned away, waiting to ask again
    Clock::time_point m_retryAt{};
    std::vector<bool> m_answered;
    std::size_t m_answeredCount = 0;
    ZStormTally& m_tally;
};

// The payload a storm manager's "addnode" travels as, for the echo to carry the same size.
std::size_t AddNodePayloadBytes() {
    auto request = ZMakeShared<ZDiscoveryRequestMsg>();
    request->m_name = "Storm-NM-000-n0";
    request->m_className = "ZBenchNode";
    request->m_group = "Storm";
    request->m_nodeManagerUID = ZNodeUID("Storm-NM-000");
    request->SetResponseRequested(true);
    request->SetSource(ZCommEndpoint(ZNodeUID("Storm-NM-000"), EP_CONTROL, "addnode"));
    std::string payload;
    ZNodeCommMQTT::Encode(*request, payload);
    return payload.size();
}

// Follows the discovery node's status: topology changes and removals.
class ZWatcher {
public:
    bool Start(const std::string& url) {
        m_pComm = MakeTransport(TransportParams(url, 64, 0), kWatcher);
        if (!m_pComm) {
            return false;
        }
        m_pComm->Subscribe(
            ZCommEndpoint(ZNodeUID(kDiscoveryUID), EP_STATUS, "topochanged"),
            [this](const ZCommEndpoint&, const std::shared_ptr<ZMessage>&) { m_topoChanged.Note(); });
        m_pComm->Subscribe(ZCommEndpoint(ZNodeUID(kDiscoveryUID), EP_STATUS, "nodesdisconnected"),
                           [this](const ZCommEndpoint&, const std::shared_ptr<ZMessage>& message) {
                               const auto removal = As<ZNodesDisconnectedMsg>(message);
                               if (!removal) {
                                   return;
                               }
                               {
                                   std::lock_guard<std::mutex> lock(m_mutex);
                                   for (const auto& uid : removal->m_nodeUIDs) {
                                       m_removed.emplace(uid.c_str());
                                   }
                               }
                               m_removals.Note();
                           });
        return m_pComm->Connect();
    }
    bool WasRemoved(const std::string& uid) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_removed.count(uid) > 0;
    }
    void Stop() {
        if (m_pComm) {
            m_pComm->Disconnect();
        }
    }

    ZArrivals m_topoChanged;
    ZArrivals m_removals;

private:
    std::shared_ptr<ZNodeCommMQTT> m_pComm;
    std::mutex m_mutex;
    std::set<std::string> m_removed;
};

// A znodemanager process with a one-node configuration, its output in a file.
class ZHostProcess {
public:
    ~ZHostProcess() { Kill(); }
    bool Spawn(const std::string& program, const std::string& config, const std::string& url,
               const std::string& logPath) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, logPath.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
        std::vector<std::string> args = {program, config, "--transport", url, "--log-level", "3"};
        std::vector<char*> argv;
        for (auto& arg : args) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        const int failed = posix_spawn(&m_pid, program.c_str(), &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (failed != 0) {
            m_pid = -1;
        }
        return failed == 0;
    }
    void Kill() {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
            m_pid = -1;
        }
    }

private:
    pid_t m_pid = -1;
};

std::string ReadFile(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

struct ZOptions {
    int m_rounds = 2000;
    int m_warmup = 200;
    int m_managers = 100;
    int m_nodes = 20;
    int m_window = 64;
    int m_kills = 5;
    bool m_bDiscoveryLog = false;
    bool m_bNodeManagers = false;
    int m_nodeManagerSecs = 900;
    std::string m_znodemanager = Z_ZNODEMANAGER;
};

// The round trips: echo, "finduid" asked through the framework, and the same request ready-encoded
// from a raw client, in alternating blocks after a warm-up of each.
bool MeasureRoundTrips(const ZOptions& options, int port, ZAsker& asker, ZResults& results) {
    ZRawProbe echoProbe("Bench-EchoProbe", std::string(kEchoOut) + "probe");
    ZRawProbe rawAsker(kRawAsker, std::string("response/") + kRawAsker + "/finduid");
    if (!echoProbe.Connect(port) || !rawAsker.Connect(port)) {
        std::fprintf(stderr, "zmqttbench: the probes did not connect\n");
        return false;
    }
    // The discovery node's subscriptions may still be on their way: the first requests are repeated.
    double micros = 0;
    std::shared_ptr<ZNodeUIDMsg> found;
    for (int attempt = 0; attempt < 10 && !found; ++attempt) {
        found = asker.FindTarget(micros);
    }
    if (!found || found->m_nodeUID != "BenchRadar1") {
        std::fprintf(stderr, "zmqttbench: \"finduid\" was not answered with the target node\n");
        return false;
    }
    std::string answer;
    ZNodeCommMQTT::Encode(*found, answer);
    results.m_answerBytes = answer.size();

    auto raw = ZMakeShared<ZDiscoveryFindUIDMsg>();
    raw->m_className = kTargetClass;
    raw->SetResponseRequested(true);
    raw->SetSource(ZCommEndpoint(ZNodeUID(kRawAsker), EP_CONTROL, "finduid"));
    raw->SetEndpoint(ZCommEndpoint(ZNodeUID(kDiscoveryUID), EP_CONTROL, "finduid"));
    std::string request;
    ZNodeCommMQTT::Encode(*raw, request);
    results.m_requestBytes = request.size();
    const std::string findTopic = std::string("control/") + kDiscoveryUID + "/finduid";
    const std::string echoTopic = std::string(kEchoIn) + "probe";
    const std::string echoPayload(request.size(), 'e');

    if (rawAsker.Probe(findTopic, request) < 0) {
        std::fprintf(stderr, "zmqttbench: the raw \"finduid\" was not answered\n");
        return false;
    }
    std::string why;
    const auto decoded = As<ZNodeUIDMsg>(
        ZNodeCommMQTT::Decode(rawAsker.LastPayload().data(), rawAsker.LastPayload().size(), why));
    if (!decoded || decoded->m_nodeUID != "BenchRadar1") {
        std::fprintf(stderr, "zmqttbench: the raw \"finduid\" answer is not the target node: %s\n",
                     why.c_str());
        return false;
    }
    for (int i = 0; i < options.m_warmup; ++i) {
        echoProbe.Probe(echoTopic, echoPayload);
        asker.FindTarget(micros);
        rawAsker.Probe(findTopic, request);
    }
    int lost = 0;
    const int perBlock = std::max(1, options.m_rounds / kBlocks);
    for (int block = 0; block < kBlocks; ++block) {
        for (int i = 0; i < perBlock; ++i) {
            const double echo = echoProbe.Probe(echoTopic, echoPayload);
            if (echo < 0) {
                ++lost;
            } else {
                results.m_echo.push_back(echo);
            }
        }
        for (int i = 0; i < perBlock; ++i) {
            if (asker.FindTarget(micros)) {
                results.m_findUid.push_back(micros);
            } else {
                ++lost;
            }
        }
        for (int i = 0; i < perBlock; ++i) {
            const double find = rawAsker.Probe(findTopic, request);
            if (find < 0) {
                ++lost;
            } else {
                results.m_findUidRaw.push_back(find);
            }
        }
    }
    if (lost > 0) {
        std::fprintf(stderr, "zmqttbench: %d round trip(s) went unanswered\n", lost);
        results.m_bFailed = true;
    }
    return true;
}

// Managers × nodes registering, all at once or one manager after another; then the graph is
// fetched and checked, and the managers leave again.
bool MeasureStorm(const ZOptions& options, const std::string& url, bool inTurn, ZBenchDiscovery& discovery,
                  ZAsker& asker, ZWatcher& watcher, ZStormFigures& figures, bool& failed) {
    const char* what = inTurn ? "managers in turn" : "storm";
    ZStormTally tally;
    std::vector<std::unique_ptr<ZStormManager>> managers;
    for (int i = 0; i < options.m_managers; ++i) {
        managers.push_back(std::make_unique<ZStormManager>(i, options.m_nodes, inTurn, tally));
        if (!managers.back()->Connect(url, options.m_window)) {
            std::fprintf(stderr, "zmqttbench: %s: manager %d did not connect\n", what, i);
            return false;
        }
    }
    if (inTurn) {
        for (std::size_t i = 0; i + 1 < managers.size(); ++i) {
            managers[i]->SetNext(managers[i + 1].get());
        }
    }
    const auto expected = static_cast<std::uint64_t>(options.m_managers) * (options.m_nodes + 1);
    const std::uint64_t trafficBefore = discovery.Traffic();
    const auto start = Clock::now();
    if (inTurn) {
        managers.front()->Begin();
    } else {
        for (auto& manager : managers) {
            manager->Begin();
        }
    }
    const auto deadline = start + std::chrono::seconds(120);
    bool finished = false;
    while (!finished && Clock::now() < deadline) {
        finished = tally.m_finished.WaitFor(static_cast<std::uint64_t>(options.m_managers), milliseconds(1));
        for (auto& manager : managers) {
            manager->RetryIfDue(Clock::now());
        }
    }
    figures.m_secs = std::chrono::duration<double>(tally.m_finished.Last() - start).count();
    figures.m_traffic = discovery.Traffic() - trafficBefore;
    for (const auto& manager : managers) {
        figures.m_traffic += manager->Traffic();
    }
    // Late duplicates would show up meanwhile.
    std::this_thread::sleep_for(milliseconds(200));
    figures.m_denials = tally.m_denials;
    figures.m_duplicates = tally.m_duplicates;
    for (const auto& manager : managers) {
        figures.m_lost += manager->Unanswered();
    }
    if (!finished || tally.m_registered != expected || tally.m_strays > 0 || tally.m_duplicates > 0) {
        std::fprintf(stderr,
                     "zmqttbench: %s: %llu of %llu registrations answered, %llu unanswered, %llu duplicated, "
                     "%llu stray\n",
                     what, static_cast<unsigned long long>(tally.m_registered.load()),
                     static_cast<unsigned long long>(expected),
                     static_cast<unsigned long long>(figures.m_lost),
                     static_cast<unsigned long long>(figures.m_duplicates),
                     static_cast<unsigned long long>(tally.m_strays.load()));
        failed = true;
    }

    double micros = 0;
    const auto topology =
        As<ZTopologyMsg>(asker.Ask("gettopo", ZMakeShared<ZTopologyMsg>(), micros, milliseconds(10000)));
    figures.m_graphExpected = static_cast<std::size_t>(expected);
    if (topology) {
        std::set<std::string> uids;
        for (const auto& node : topology->m_nodes) {
            if (std::strncmp(node.m_nodeManagerUID.c_str(), "Storm-NM-", 9) == 0) {
                ++figures.m_graphNodes;
                uids.emplace(node.m_uid.c_str());
            }
        }
        figures.m_bGraphChecked = true;
        if (figures.m_graphNodes != expected || uids.size() != figures.m_graphNodes) {
            std::fprintf(stderr,
                         "zmqttbench: %s: the graph holds %zu storm nodes (%zu distinct UIDs), not %llu\n",
                         what, figures.m_graphNodes, uids.size(), static_cast<unsigned long long>(expected));
            failed = true;
        }
    } else {
        std::fprintf(stderr, "zmqttbench: %s: \"gettopo\" was not answered\n", what);
        failed = true;
    }

    const std::uint64_t removalsBefore = watcher.m_removals.Count();
    for (auto& manager : managers) {
        manager->Leave();
    }
    if (!watcher.m_removals.WaitFor(removalsBefore + managers.size(), std::chrono::seconds(30))) {
        std::fprintf(stderr, "zmqttbench: %s: not every manager was removed again\n", what);
        failed = true;
    }
    for (auto& manager : managers) {
        manager->Disconnect();
    }
    return true;
}

// The same storm made of ZNodeManagers, each hosting plain ZNodes on a connection of its own and
// started at once: what a fleet powering up sees, their own back-off included.
bool MeasureNodeManagers(const ZOptions& options, const std::string& url, ZAsker& asker, ZWatcher& watcher,
                         ZResults& results) {
    std::vector<std::shared_ptr<ZNodeManager>> managers;
    std::vector<std::shared_ptr<ZNodeCommMQTT>> comms;
    for (int i = 0; i < options.m_managers; ++i) {
        const std::string uid = "Real-NM-" + std::to_string(i);
        auto config = ZMakeShared<ZNodeManagerConfig>();
        config->m_uid = ZNodeUID(uid);
        config->m_group = "Real";
        config->m_discoveryUID = ZNodeUID(kDiscoveryUID);
        for (int k = 0; k < options.m_nodes; ++k) {
            ZNodeManagerConfig::ZHostedNode node;
            node.m_className = "ZNode";
            node.m_name = (uid + "-n" + std::to_string(k)).c_str();
            node.m_group = "Real";
            config->m_nodes.push_back(node);
        }
        auto manager = ZMakeShared<ZNodeManager>(uid);
        manager->m_logLevel = LOGLEVEL_ERROR;  // turned-away attempts are expected here
        auto comm = MakeTransport(TransportParams(url, options.m_window, 0), uid);
        if (!comm || !manager->Load(config)) {
            std::fprintf(stderr, "zmqttbench: node manager %s cannot be made\n", uid.c_str());
            return false;
        }
        managers.push_back(std::move(manager));
        comms.push_back(std::move(comm));
    }
    const auto start = Clock::now();
    for (std::size_t i = 0; i < managers.size(); ++i) {
        if (!managers[i]->Start(comms[i])) {
            std::fprintf(stderr, "zmqttbench: node manager %zu did not start\n", i);
            results.m_bFailed = true;
        }
    }
    results.m_nodeManagerStartSecs = std::chrono::duration<double>(Clock::now() - start).count();
    const auto deadline = start + std::chrono::seconds(options.m_nodeManagerSecs);
    std::size_t running = 0;
    Clock::time_point allRunning{};
    while (Clock::now() < deadline) {
        running =
            static_cast<std::size_t>(std::count_if(managers.begin(), managers.end(), [](const auto& manager) {
                return manager->GetState() == NMSTATE_RUNNING;
            }));
        if (running == managers.size()) {
            allRunning = Clock::now();
            break;
        }
        std::this_thread::sleep_for(milliseconds(5));
    }
    results.m_nodeManagersRunning = running;
    if (running == managers.size()) {
        results.m_nodeManagerSecs = std::chrono::duration<double>(allRunning - start).count();
        double micros = 0;
        const auto topology =
            As<ZTopologyMsg>(asker.Ask("gettopo", ZMakeShared<ZTopologyMsg>(), micros, milliseconds(10000)));
        std::size_t nodes = 0;
        for (const auto& node : topology ? topology->m_nodes : ZVector<ZTopologyNode>()) {
            nodes += std::strncmp(node.m_nodeManagerUID.c_str(), "Real-NM-", 8) == 0 ? 1 : 0;
        }
        results.m_nodeManagerGraph = nodes;
        if (nodes != managers.size() * static_cast<std::size_t>(options.m_nodes + 1)) {
            std::fprintf(stderr, "zmqttbench: node managers: the graph holds %zu of their nodes\n", nodes);
            results.m_bFailed = true;
        }
    } else {
        std::fprintf(stderr, "zmqttbench: node managers: %zu of %zu running after %d s\n", running,
                     managers.size(), options.m_nodeManagerSecs);
        results.m_bFailed = true;
    }
    const std::uint64_t removals = watcher.m_removals.Count();
    for (auto& manager : managers) {
        manager->Stop();
    }
    watcher.m_removals.WaitFor(removals + running, std::chrono::seconds(30));
    for (auto& comm : comms) {
        comm->Disconnect();
    }
    return true;
}

// The echo's throughput with the storm's shape: as many clients, each pushing as many messages of
// the size of an "addnode", within the same window.
bool MeasureEchoStorm(const ZOptions& options, int port, ZResults& results) {
    const int perClient = options.m_nodes + 1;
    const auto window = static_cast<std::uint64_t>(std::max(1, options.m_window));
    results.m_addNodeBytes = AddNodePayloadBytes();
    const std::string payload(results.m_addNodeBytes, 's');
    struct ZEchoSender {
        std::unique_ptr<ZRawClient> m_pClient;
        std::atomic<int> m_sent{0};
        std::atomic<int> m_received{0};
    };
    ZArrivals done;
    std::vector<std::unique_ptr<ZEchoSender>> senders;
    for (int i = 0; i < options.m_managers; ++i) {
        auto sender = std::make_unique<ZEchoSender>();
        const std::string id = "storm" + std::to_string(i);
        ZEchoSender* self = sender.get();
        sender->m_pClient = std::make_unique<ZRawClient>(
            "Bench-EchoStorm-" + std::to_string(i), std::vector<std::string>{kEchoOut + id},
            [self, id, perClient, &payload, &done](ZRawClient& client, const mosquitto_message&) {
                const int received = ++self->m_received;
                if (self->m_sent < perClient) {
                    ++self->m_sent;
                    client.Publish(kEchoIn + id, payload.data(), payload.size());
                }
                if (received == perClient) {
                    done.Note();
                }
            });
        if (!sender->m_pClient->Connect(port)) {
            std::fprintf(stderr, "zmqttbench: echo storm client %d did not connect\n", i);
            return false;
        }
        senders.push_back(std::move(sender));
    }
    const auto start = Clock::now();
    for (int i = 0; i < options.m_managers; ++i) {
        auto& sender = *senders[static_cast<std::size_t>(i)];
        const int first =
            static_cast<int>(std::min<std::uint64_t>(window, static_cast<std::uint64_t>(perClient)));
        sender.m_sent = first;
        for (int k = 0; k < first; ++k) {
            sender.m_pClient->Publish(kEchoIn + ("storm" + std::to_string(i)), payload.data(),
                                      payload.size());
        }
    }
    const bool finished =
        done.WaitFor(static_cast<std::uint64_t>(options.m_managers), std::chrono::seconds(60));
    results.m_echoStormSecs = std::chrono::duration<double>(done.Last() - start).count();
    std::this_thread::sleep_for(milliseconds(200));
    std::uint64_t missing = 0;
    std::uint64_t extra = 0;
    for (const auto& sender : senders) {
        const int received = sender->m_received;
        missing += received < perClient ? static_cast<std::uint64_t>(perClient - received) : 0;
        extra += received > perClient ? static_cast<std::uint64_t>(received - perClient) : 0;
    }
    results.m_echoStormLost = missing;
    if (!finished || missing > 0 || extra > 0) {
        std::fprintf(stderr, "zmqttbench: echo storm: %llu echo(es) missing, %llu extra\n",
                     static_cast<unsigned long long>(missing), static_cast<unsigned long long>(extra));
        results.m_bFailed = true;
    }
    return true;
}

// SIGKILL of a registered znodemanager to "nodesdisconnected" naming it, seen by the watcher.
bool MeasureKills(const ZOptions& options, const std::string& url, ZWatcher& watcher, ZResults& results) {
    char pattern[] = "/tmp/zmqttbench-XXXXXX";
    if (::mkdtemp(pattern) == nullptr) {
        return false;
    }
    const std::string folder = pattern;
    results.m_kills = options.m_kills;
    const auto patience = std::chrono::seconds(kDiscoveryDeadTimeSecs + 5);
    for (int i = 1; i <= options.m_kills; ++i) {
        const std::string uid = "Kill-NM-" + std::to_string(i);
        const std::string config = folder + "/" + uid + ".json";
        const std::string log = folder + "/" + uid + ".log";
        std::ofstream(config) << R"({"UID": ")" << uid
                              << R"(", "Nodes": [{"class": "ZNode", "name": "alpha"}]})";
        ZHostProcess host;
        const std::uint64_t changes = watcher.m_topoChanged.Count();
        if (!host.Spawn(options.m_znodemanager, config, url, log)) {
            std::fprintf(stderr, "zmqttbench: cannot start %s\n", options.m_znodemanager.c_str());
            results.m_bFailed = true;
            break;
        }
        if (!watcher.m_topoChanged.WaitFor(changes + 1, std::chrono::seconds(20))) {
            std::fprintf(stderr, "zmqttbench: %s did not register:\n%s\n", uid.c_str(),
                         ReadFile(log).c_str());
            results.m_bFailed = true;
            break;
        }
        // Its unlock follows the change notice; let the manager settle into its running state.
        std::this_thread::sleep_for(milliseconds(100));
        const std::uint64_t removals = watcher.m_removals.Count();
        const auto start = Clock::now();
        host.Kill();
        const auto deadline = start + patience;
        bool seen = false;
        for (std::uint64_t next = removals + 1; Clock::now() < deadline; ++next) {
            if (!watcher.m_removals.WaitFor(
                    next, std::chrono::duration_cast<milliseconds>(deadline - Clock::now()))) {
                break;
            }
            if (watcher.WasRemoved(uid)) {
                seen = true;
                break;
            }
        }
        if (seen) {
            results.m_killMs.push_back(
                std::chrono::duration<double, std::milli>(watcher.m_removals.Last() - start).count());
        } else {
            ++results.m_killsMissed;
            results.m_bFailed = true;
        }
        std::remove(config.c_str());
        std::remove(log.c_str());
    }
    ::rmdir(folder.c_str());
    return true;
}

std::string MachineLine() {
    std::string cpu = "unknown CPU";
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        if (line.rfind("model name", 0) == 0) {
            const auto colon = line.find(':');
            cpu = line.substr(colon == std::string::npos ? 0 : colon + 2);
            break;
        }
    }
    utsname system{};
    uname(&system);
    std::string load;
    std::getline(std::ifstream("/proc/loadavg"), load);
    const auto fields = load.find(' ', load.find(' ', load.find(' ') + 1) + 1);
    int major = 0;
    int minor = 0;
    int revision = 0;
    mosquitto_lib_version(&major, &minor, &revision);
    std::ostringstream text;
    text << "Machine: " << std::thread::hardware_concurrency() << " cores, " << cpu << ", " << system.sysname
         << " " << system.release << ", load average " << load.substr(0, fields) << "; libmosquitto " << major
         << "." << minor << "." << revision;
    return text.str();
}

void PrintTable(const ZResults& results, const ZOptions& options) {
    const auto ratio = [](double figure, double baseline) {
        return baseline > 0 ? Format("%.2f×", figure / baseline) : std::string("-");
    };
    const auto us = [](double value) { return Format("%.0f µs", value); };
    const double echoMedian = Percentile(results.m_echo, 0.5);
    const double echoP99 = Percentile(results.m_echo, 0.99);
    std::printf("\n| Measurement | Figure | Plain libmosquitto echo, same run | Ratio | Target |\n");
    std::printf("|---|---|---|---|---|\n");
    const auto roundTrip = [&](const char* what, const std::vector<double>& samples) {
        const double median = Percentile(samples, 0.5);
        const double p99 = Percentile(samples, 0.99);
        std::printf("| %s, median (N=%zu) | %s | %s | %s | ≤ 1.5× |\n", what, samples.size(),
                    us(median).c_str(), us(echoMedian).c_str(), ratio(median, echoMedian).c_str());
        std::printf("| %s, 99th percentile | %s | %s | %s | |\n", what, us(p99).c_str(), us(echoP99).c_str(),
                    ratio(p99, echoP99).c_str());
    };
    roundTrip("\"finduid\" round trip, asked through ZNodeCommMQTT", results.m_findUid);
    roundTrip("\"finduid\" round trip, asked ready-encoded from a raw client", results.m_findUidRaw);

    const double registrations = static_cast<double>(options.m_managers) * (options.m_nodes + 1);
    const auto rate = [registrations](double secs) { return secs > 0 ? registrations / secs : 0.0; };
    const double echoRate = rate(results.m_echoStormSecs);
    const auto storm = [&](const char* what, const ZStormFigures& figures, const char* target) {
        std::printf("| %s, %d managers × %d nodes: registrations/s | %.0f /s | %.0f msg/s | %s | %s |\n",
                    what, options.m_managers, options.m_nodes, rate(figures.m_secs), echoRate,
                    ratio(rate(figures.m_secs), echoRate).c_str(), target);
        std::printf("| %s: time until every registration is answered | %.0f ms | %.0f ms | | |\n", what,
                    figures.m_secs * 1000, results.m_echoStormSecs * 1000);
        // The echo moves each message four times: published, received by the echo, published back,
        // received by its sender.
        const double echoTraffic = 4 * registrations;
        const double traffic = static_cast<double>(figures.m_traffic);
        std::printf("| %s: messages published and received, per registration | %.1f | %.1f | %s | |\n", what,
                    traffic / registrations, echoTraffic / registrations,
                    ratio(traffic, echoTraffic).c_str());
        std::printf("| %s: messages published and received, per second | %.0f /s | %.0f /s | %s | |\n", what,
                    figures.m_secs > 0 ? traffic / figures.m_secs : 0.0, echoRate * 4,
                    ratio(figures.m_secs > 0 ? traffic / figures.m_secs : 0.0, echoRate * 4).c_str());
    };
    storm("Registration storm, all at once", results.m_storm, "≥ 0.6×");
    storm("Managers in turn (the lock's best case)", results.m_inTurn, "");
    if (options.m_bNodeManagers) {
        std::printf(
            "| %d ZNodeManagers × %d ZNodes started at once (their own back-off): time until all "
            "run | %.1f s | %.0f ms | | |\n",
            options.m_managers, options.m_nodes, results.m_nodeManagerSecs, results.m_echoStormSecs * 1000);
    }

    std::string killMedian = "-";
    std::string killMax = "-";
    if (!results.m_killMs.empty()) {
        killMedian = Format("%.0f ms", Percentile(results.m_killMs, 0.5));
        killMax = Format("%.0f ms", *std::max_element(results.m_killMs.begin(), results.m_killMs.end()));
    }
    std::printf("| SIGKILL of a znodemanager to \"nodesdisconnected\", median of %zu | %s | | | < 1 s |\n",
                results.m_killMs.size(), killMedian.c_str());
    std::printf("| SIGKILL of a znodemanager to \"nodesdisconnected\", max | %s | | | < 1 s |\n",
                killMax.c_str());

    std::printf(
        "\nPayloads: \"finduid\" %zu bytes (the echo's the same), its answer %zu bytes; \"addnode\" %zu "
        "bytes (the echo storm's the same).\n",
        results.m_requestBytes, results.m_answerBytes, results.m_addNodeBytes);
    const auto details = [&](const char* what, const ZStormFigures& figures) {
        const std::string graph = figures.m_bGraphChecked
                                      ? std::to_string(figures.m_graphNodes) + " storm nodes of " +
                                            std::to_string(figures.m_graphExpected)
                                      : std::string("not checked");
        std::printf(
            "%s: %llu \"addnodemanager\" turned away (locked by another manager); %llu unanswered, "
            "%llu duplicated; graph: %s.\n",
            what, static_cast<unsigned long long>(figures.m_denials),
            static_cast<unsigned long long>(figures.m_lost),
            static_cast<unsigned long long>(figures.m_duplicates), graph.c_str());
    };
    details("Storm (turned away: asks again after 50 to 150 ms, as ZNodeManager does)", results.m_storm);
    details("In turn (each begins once the one before has sent its unlock; overtaken, asks again at once)",
            results.m_inTurn);
    if (options.m_bNodeManagers) {
        std::printf(
            "ZNodeManagers: %zu of %d running, the last started %.0f ms after the first; graph: %zu of "
            "their nodes.\n",
            results.m_nodeManagersRunning, options.m_managers, results.m_nodeManagerStartSecs * 1000,
            results.m_nodeManagerGraph);
    }
    std::printf(
        "Window (nMaxOutstandingMessages): %d per client. Echo storm: %llu echo(es) missing. Kills: %d "
        "of %d not seen within %d s.\n",
        options.m_window, static_cast<unsigned long long>(results.m_echoStormLost), results.m_killsMissed,
        results.m_kills, kDiscoveryDeadTimeSecs + 5);
}

}  // namespace

int main(int argc, char** argv) {
    ZOptions options;
    CLI::App app{"End-to-end figures over an MQTT broker of its own, each beside a plain libmosquitto echo.",
                 "zmqttbench"};
    app.add_option("--rounds", options.m_rounds, "Timed round trips of each kind")->capture_default_str();
    app.add_option("--warmup", options.m_warmup, "Untimed round trips of each kind first")
        ->capture_default_str();
    app.add_option("--managers", options.m_managers, "Node managers in the registration storm")
        ->check(CLI::Range(1, 999))
        ->capture_default_str();
    app.add_option("--nodes", options.m_nodes, "Nodes per node manager in the storm")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_option("--window", options.m_window, "In-flight window (nMaxOutstandingMessages)")
        ->check(CLI::Range(1, 100000))
        ->capture_default_str();
    app.add_option("--kills", options.m_kills, "znodemanager processes killed, one after another")
        ->capture_default_str();
    app.add_flag("--node-managers", options.m_bNodeManagers,
                 "Also start the storm's managers as ZNodeManagers hosting ZNodes, with their own back-off");
    app.add_option("--node-managers-timeout", options.m_nodeManagerSecs, "Seconds allowed for them to run")
        ->capture_default_str();
    app.add_flag("--discovery-log", options.m_bDiscoveryLog,
                 "Let the discovery node format its log lines as deployed (they are still dropped)");
    app.add_option("--znodemanager", options.m_znodemanager, "The znodemanager program")
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    auto sink = std::make_shared<ZBenchLogSink>();
    ZLog::GetLogger()->SetSink(sink);

    ZTestBroker broker;
    // The default (1000 messages queued per client) cuts the echo storm's burst of 2100: the broker
    // drops QoS 1 messages beyond it without a word.
    broker.m_extraConfig = kBrokerQueue;
    std::string error;
    if (!broker.Start(&error)) {
        std::fprintf(stderr, "zmqttbench: %s\n", error.c_str());
        return 1;
    }
    const std::string url = broker.URL();
    std::printf("zmqttbench: mosquitto on %s (its own; default settings but %s), QoS 1 everywhere\n",
                url.c_str(), kBrokerQueue);
    std::printf("%s\n", MachineLine().c_str());
    std::printf(
        "Discovery node: in this process on ZNodeCommMQTT (log %s); killed node managers: znodemanager "
        "processes\n",
        options.m_bDiscoveryLog ? "formatted, then dropped" : "off");

    ZResults results;
    ZBenchDiscovery discovery;
    ZAsker asker;
    ZWatcher watcher;
    const auto echo = MakeEcho(broker.Port());
    bool ok = echo && discovery.Start(url, options.m_window, options.m_bDiscoveryLog) && asker.Start(url) &&
              watcher.Start(url);
    if (!ok) {
        std::fprintf(stderr, "zmqttbench: the echo, the discovery node or its clients did not start\n");
    }
    ok = ok && MeasureRoundTrips(options, broker.Port(), asker, results);
    ok = ok &&
         MeasureStorm(options, url, false, discovery, asker, watcher, results.m_storm, results.m_bFailed);
    ok = ok &&
         MeasureStorm(options, url, true, discovery, asker, watcher, results.m_inTurn, results.m_bFailed);
    ok = ok && MeasureEchoStorm(options, broker.Port(), results);
    ok = ok && (!options.m_bNodeManagers || MeasureNodeManagers(options, url, asker, watcher, results));
    ok = ok && (options.m_kills <= 0 || MeasureKills(options, url, watcher, results));
    PrintTable(results, options);

    std::size_t warnings = 0;
    const auto lines = sink->Lines(warnings);
    std::printf("Log lines at warning or above: %zu\n", warnings);
    for (const auto& line : lines) {
        std::printf("  %s\n", line.c_str());
    }
    watcher.Stop();
    asker.Stop();
    discovery.Stop();
    return ok && !results.m_bFailed ? 0 : 1;
}
