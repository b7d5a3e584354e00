// The connection's life: the network thread that connects, moves between the brokers of the list,
// reads and writes, and the clean goodbye.
#include <mosquitto.h>

#include <cerrno>
#include <cstring>

#include "NodeComm/ZNodeCommMQTT.h"

// The network thread times real sockets by the real clock, not by the clock seam that tests drive.
namespace {

constexpr const char* kSystemCAPath = "/etc/ssl/certs";
// How long one read of the socket may wait; a stop is seen at least this often.
constexpr int kLoopTimeoutMs = 250;
// The back-off between rounds of brokers that cannot be reached, as libmosquitto's own was.
constexpr std::chrono::seconds kFirstBackOff{1};
constexpr std::chrono::seconds kLastBackOff{8};
// A connection that lasted this long was a working one: losing it starts the back-off afresh.
constexpr std::chrono::seconds kSteadyConnection{2};
// How long the DISCONNECT of a clean stop may take to go out.
constexpr std::chrono::seconds kGoodbyeTimeout{1};

void InitLibrary() {
    // Never cleaned up: other clients of the process may still use the library at exit.
    static const int initialised = mosquitto_lib_init();
    (void)initialised;
}

std::string ErrorText(int rc) {
    if (rc == MOSQ_ERR_ERRNO) {
        return std::strerror(errno);
    }
    if (rc == MOSQ_ERR_CONN_LOST) {
        return "connection lost";
    }
    return mosquitto_strerror(rc);
}

}  // namespace

bool ZNodeCommMQTT::Connect() {
    InitLibrary();
    // Connect and Shutdown run one at a time; libmosquitto's own locks are never taken while
    // m_mutex is held here, since its callbacks take m_mutex under them.
    std::lock_guard<std::mutex> connecting(m_connectMutex);
    if (m_addresses.empty()) {
        ZLOG(LOGLEVEL_ERROR, "Not configured: no broker to connect to");
        return false;
    }
    if (!m_bStarted && !StartClient()) {
        return false;
    }
    if (!m_bBlockUntilConnect) {
        return true;
    }
    const auto wait =
        std::chrono::duration<double>(m_connectTryTimeoutSecs * static_cast<float>(m_connectRetries));
    bool refused = false;
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_connectedChanged.wait_for(lock, wait,
                                        [this] { return m_bConnected.load() || !m_refusal.empty(); })) {
            if (m_bConnected) {
                return true;
            }
            m_error = m_refusal;
            refused = true;
        }
    }
    if (refused) {
        StopClient();
        return false;
    }
    std::string brokers;
    for (const auto& address : m_addresses) {
        brokers += (brokers.empty() ? "<" : ", <") + address.Shown() + ">";
    }
    ZLOG(LOGLEVEL_ERROR, "Broker %s not reached within %d tries of %.1f s", brokers.c_str(), m_connectRetries,
         static_cast<double>(m_connectTryTimeoutSecs));
    StopClient();
    return false;
}

bool ZNodeCommMQTT::StartClient() {
    // No callback runs before the network thread starts, so the client is set up without locks.
    mosquitto* client = mosquitto_new(m_clientID.c_str(), true, this);
    if (client == nullptr) {
        ZLOG(LOGLEVEL_ERROR, "Cannot make an MQTT client for <%s>", m_clientID.c_str());
        return false;
    }
    // Publishing and subscribing happen on other threads than the network thread.
    mosquitto_threaded_set(client, true);
    mosquitto_connect_callback_set(client, &ZNodeCommMQTT::OnConnectCallback);
    mosquitto_disconnect_callback_set(client, &ZNodeCommMQTT::OnDisconnectCallback);
    mosquitto_subscribe_callback_set(client, &ZNodeCommMQTT::OnSubscribeCallback);
    if (m_bMQTT5) {
        mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
        mosquitto_publish_v5_callback_set(client, &ZNodeCommMQTT::OnPublishV5Callback);
    } else {
        mosquitto_publish_callback_set(client, &ZNodeCommMQTT::OnPublishCallback);
    }
    mosquitto_message_callback_set(client, &ZNodeCommMQTT::OnMessageCallback);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    const ZBrokerAddress& first = m_addresses.front();
    if (first.m_bTLS) {
        const int rc =
            first.m_caFile.empty()
                ? mosquitto_tls_set(client, nullptr, kSystemCAPath, nullptr, nullptr, nullptr)
                : mosquitto_tls_set(client, first.m_caFile.c_str(), nullptr, nullptr, nullptr, nullptr);
        if (rc != MOSQ_ERR_SUCCESS) {
            ZLOG(LOGLEVEL_ERROR, "TLS for <%s>: %s", first.Shown().c_str(), mosquitto_strerror(rc));
            mosquitto_destroy(client);
            return false;
        }
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_bHasWill) {
        mosquitto_will_set(client, m_will.m_topic.c_str(), static_cast<int>(m_will.m_payload.size()),
                           m_will.m_payload.data(), kQoS, m_will.m_bRetain);
    }
    m_pClient = client;
    m_bStarted = true;
    m_bStopping = false;
    m_network = std::thread([this, client] { RunNetwork(client); });
    return true;
}

bool ZNodeCommMQTT::IsStopping() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bStopping || !m_refusal.empty();
}

bool ZNodeCommMQTT::BackOff(std::chrono::milliseconds delay) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return !m_connectedChanged.wait_for(lock, delay, [this] { return m_bStopping || !m_refusal.empty(); });
}

void ZNodeCommMQTT::RunNetwork(mosquitto* client) {
    std::chrono::milliseconds backOff = kFirstBackOff;
    std::size_t failedInRound = 0;
    bool firstAttempt = true;
    while (!IsStopping()) {
        ZBrokerAddress address;
        std::uint64_t connectsBefore = 0;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            address = m_addresses[m_current];
            connectsBefore = m_stats.m_connects;
        }
        const auto began = std::chrono::steady_clock::now();
        const int rc = RunConnection(client, address);
        if (IsStopping()) {
            break;
        }
        std::string next;
        bool wasConnected = false;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            wasConnected = m_stats.m_connects > connectsBefore;
            m_current = (m_current + 1) % m_addresses.size();
            next = m_addresses[m_current].Shown();
        }
        const bool moves = m_addresses.size() > 1;
        const std::string why = ErrorText(rc);
        // A broker that takes connections only to drop them again (a cluster node while another
        // rejoins) is no better than one that refuses them: it does not reset the back-off.
        const bool steady = wasConnected && std::chrono::steady_clock::now() - began >= kSteadyConnection;
        if (wasConnected) {
            ZLOG(LOGLEVEL_WARNING, "Lost the broker <%s> (%s); %s <%s>", address.Shown().c_str(), why.c_str(),
                 moves ? "moving on to" : "reconnecting to", next.c_str());
        }
        if (steady) {
            failedInRound = 0;
            backOff = kFirstBackOff;
            if (moves) {
                continue;  // another broker of the list at once
            }
        } else {
            if (!wasConnected && (firstAttempt || moves)) {
                const std::string then = moves ? "trying <" + next + ">" : "retrying in the background";
                ZLOG(firstAttempt ? LOGLEVEL_WARNING : LOGLEVEL_DETAIL, "Broker <%s> not reached (%s); %s",
                     address.Shown().c_str(), why.c_str(), then.c_str());
            }
            if (++failedInRound < m_addresses.size()) {
                firstAttempt = false;
                continue;
            }
            failedInRound = 0;
        }
        firstAttempt = false;
        if (!BackOff(backOff)) {
            break;
        }
        backOff = std::min<std::chrono::milliseconds>(backOff * 2, kLastBackOff);
    }
    // A clean stop: the DISCONNECT goes out before the socket closes, so no will is published.
    const auto deadline = std::chrono::steady_clock::now() + kGoodbyeTimeout;
    while (mosquitto_socket(client) >= 0 && std::chrono::steady_clock::now() < deadline) {
        if (mosquitto_loop(client, kLoopTimeoutMs, 1) != MOSQ_ERR_SUCCESS) {
            break;
        }
    }
}

int ZNodeCommMQTT::RunConnection(mosquitto* client, const ZBrokerAddress& address) {
    if (!address.m_user.empty()) {
        mosquitto_username_pw_set(client, address.m_user.c_str(),
                                  address.m_password.empty() ? nullptr : address.m_password.c_str());
    } else {
        mosquitto_username_pw_set(client, nullptr, nullptr);
    }
    int rc = mosquitto_connect_async(client, address.m_host.c_str(), address.m_port, m_keepAliveSecs);
    if (rc != MOSQ_ERR_SUCCESS) {
        return rc;
    }
    // A broker that takes the TCP connection but never answers it counts as not reached.
    const auto tryTimeout = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::duration<double>(m_connectTryTimeoutSecs));
    const auto giveUp = std::chrono::steady_clock::now() + tryTimeout;
    for (;;) {
        rc = mosquitto_loop(client, kLoopTimeoutMs, 1);
        if (rc != MOSQ_ERR_SUCCESS || IsStopping()) {
            return rc;
        }
        if (!m_bConnected && std::chrono::steady_clock::now() >= giveUp) {
            return MOSQ_ERR_TIMEOUT;
        }
    }
}

bool ZNodeCommMQTT::WaitConnected(std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_connectedChanged.wait_for(lock, timeout, [this] { return m_bConnected.load(); });
}

void ZNodeCommMQTT::Disconnect() {
    Shutdown();
}

void ZNodeCommMQTT::Shutdown() {
    std::lock_guard<std::mutex> connecting(m_connectMutex);
    StopClient();
}

void ZNodeCommMQTT::StopClient() {
    mosquitto* client = nullptr;
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_bStarted) {
            return;
        }
        // What was published before the goodbye goes out first, within the delivery time-out.
        m_connectedChanged.wait_for(lock, m_deliveryTimeout, [this] {
            return !m_bConnected.load() || (m_buffer.empty() && m_inFlight == 0);
        });
        if (!m_buffer.empty()) {
            ZLOG(LOGLEVEL_WARNING, "Disconnecting with %zu message(s) not sent", m_buffer.size());
        }
        m_buffer.clear();
        m_bStarted = false;
        m_bStopping = true;
        client = m_pClient;
        m_pClient = nullptr;
        m_connectedChanged.notify_all();
    }
    // Queues the DISCONNECT and wakes the network thread, which sends it and ends.
    mosquitto_disconnect(client);
    if (m_network.get_id() == std::this_thread::get_id()) {
        // Stopped from a delivery on the network thread itself: it ends when the callback returns,
        // and the client stays allocated for it.
        m_network.detach();
    } else {
        if (m_network.joinable()) {
            m_network.join();
        }
        mosquitto_destroy(client);
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bConnected = false;
    m_bStopping = false;
    m_inFlight = 0;
    m_inFlightTopics.clear();
    m_subscribing.clear();
    m_bDraining = false;
    m_connectedChanged.notify_all();
}

void ZNodeCommMQTT::OnConnectCallback(mosquitto*, void* self, int rc) {
    static_cast<ZNodeCommMQTT*>(self)->HandleConnect(rc);
}

void ZNodeCommMQTT::OnDisconnectCallback(mosquitto*, void* self, int) {
    static_cast<ZNodeCommMQTT*>(self)->HandleDisconnect();
}

void ZNodeCommMQTT::OnPublishCallback(mosquitto*, void* self, int) {
    static_cast<ZNodeCommMQTT*>(self)->HandlePublished();
}

void ZNodeCommMQTT::HandleConnect(int rc) {
    if (rc != 0) {
        // Bad credentials and a client the broker does not authorise do not get better by asking
        // again; a broker that is not ready yet may.
        const bool final = IsFinalRefusal(rc);
        ZLOG(LOGLEVEL_ERROR, "Broker <%s> refused the connection: %s%s", CurrentBroker().c_str(),
             ReasonText(rc).c_str(), final ? " Not trying again." : "");
        if (final) {
            Refuse(rc);
        }
        return;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_pClient == nullptr) {
            return;
        }
        // A clean session forgets subscriptions, and messages sent but not acknowledged are sent
        // again by the library: the window starts empty.
        m_subscribing.clear();
        m_refusedSubscriptions = 0;
        m_bConnectedLogged = false;
        for (const auto& topic : m_topics) {
            SubscribeLocked(topic.first);
        }
        m_inFlight = 0;
        ++m_stats.m_connects;
        // A broker that restarted without persistence, or another broker of the list, does not
        // have the retained messages: what this client keeps retained (a presence, a history)
        // goes out again before what waited.
        if (m_stats.m_connects > 1 && !m_retained.empty()) {
            for (auto it = m_retained.rbegin(); it != m_retained.rend(); ++it) {
                m_buffer.push_front(it->second);
            }
            ZLOG(LOGLEVEL_PROGRESS, "Publishing %zu retained message(s) again", m_retained.size());
        }
        m_waitingAtConnect = m_buffer.size();
        if (m_subscribing.empty()) {
            LogConnectedLocked();
        }
        m_bConnected = true;
        m_connectedChanged.notify_all();
    }
    Drain();
}

void ZNodeCommMQTT::LogConnectedLocked() {
    const std::string broker = m_addresses[m_current].Shown();
    const bool moved = !m_lastBroker.empty() && m_lastBroker != broker;
    if (moved) {
        ++m_stats.m_failovers;
    }
    std::string subscriptions = std::to_string(m_topics.size()) + " subscription(s)";
    if (m_refusedSubscriptions > 0) {
        subscriptions += ", " + std::to_string(m_refusedSubscriptions) + " of them refused";
    }
    const std::string from = moved ? " (moved from <" + m_lastBroker + ">)" : std::string();
    ZLOG(m_stats.m_connects > 1 ? LOGLEVEL_WARNING : LOGLEVEL_PROGRESS,
         "Connected to <%s> as <%s>%s; %s, %zu message(s) waiting", broker.c_str(), m_clientID.c_str(),
         from.c_str(), subscriptions.c_str(), m_waitingAtConnect);
    m_lastBroker = broker;
    m_bConnectedLogged = true;
}

void ZNodeCommMQTT::HandleDisconnect() {
    // The network thread, which knows where it goes next, says why.
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bConnected = false;
    m_subscribing.clear();
    m_connectedChanged.notify_all();
}

std::string ZNodeCommMQTT::CurrentBroker() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_addresses.empty() ? std::string() : m_addresses[m_current].Shown();
}
