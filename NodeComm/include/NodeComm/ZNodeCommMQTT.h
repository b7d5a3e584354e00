#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "NodeComm/ZBrokerAddress.h"
#include "NodeComm/ZNodeComm.h"
#include "ZShared/ZSteadyClock.h"

class ZCommsParams;
struct mosquitto;
struct mosquitto_message;
struct mqtt5__property;

// The broker transport: every endpoint is the MQTT topic of its text form, every message one JSON
// object (its envelope and its "body"), QoS 1. The transport's network thread, which runs
// libmosquitto's loop, connects, receives, decodes and delivers; publishing may happen on any thread.
//
// "TransportURL" may name several brokers (the nodes of a cluster): a client that loses its broker,
// or cannot reach it, moves on to the next at once; a whole round of brokers that cannot be reached
// is tried again after a back-off of 1, 2, 4, then 8 s.
//
// While the connection is down (or the in-flight window is full) messages wait in a bounded buffer,
// oldest dropped first; after a reconnect the transport subscribes again and sends what waited, in
// order, after publishing again the retained messages it published (a broker restarted without
// persistence forgets them). Every SUBACK is checked: a refused subscription is one error line. Received
// payloads that are not a message of a known class are dropped with one log line naming the topic and the
// reason, and records read from them may not touch files.
class Z_EXPORT ZNodeCommMQTT : public ZNodeComm {
    Z_FACTORY_CLASS(ZNodeCommMQTT)

public:
    // What the transport has done since it was made; for logs, tools and tests.
    struct ZStats {
        std::uint64_t m_published = 0;     // handed to the broker
        std::uint64_t m_acknowledged = 0;  // and acknowledged by it
        std::uint64_t m_received = 0;      // delivered to subscribers
        std::uint64_t m_malformed = 0;     // received and dropped
        std::uint64_t m_refused = 0;       // not published: too large, bad topic, not serializable
        std::uint64_t m_dropped = 0;       // buffered, then dropped because the buffer was full
        std::uint64_t m_connects = 0;      // successful connections, the first one included
        std::uint64_t m_failovers = 0;     // connections made to another broker than the one before
    };

    ZNodeCommMQTT();
    ~ZNodeCommMQTT() override;

    // Takes the parameters ("TransportURL" and the limits) and the client's identity on the broker.
    // Each URL is read by ZBrokerAddress: mqtt:// or mqtts://, user and password, a CA file and a
    // password file; several are separated by commas. False, with GetError(), for a URL that cannot
    // be used; call before Connect. Logs and errors show URLs without their passwords.
    bool Configure(const ZCommsParams& params, const std::string& clientID);
    const std::string& GetError() const { return m_error; }

    // Starts the network thread. With "bZCoreBlockUntilConnect" it waits for the connection, up to
    // "ConnectRetries" tries of "ConnectTryTimeoutSecs" each, and fails when none succeeds; without,
    // it returns at once and the connection comes up in the background. Calling it again is harmless.
    bool Connect() override;
    // A clean goodbye (an MQTT DISCONNECT): what is buffered is dropped, the last will is not
    // published.
    void Disconnect() override;
    bool IsConnected() const override;

    SubscriptionId Subscribe(const ZCommEndpoint& endpoint, Delivery delivery) override;
    bool Unsubscribe(SubscriptionId subscription) override;
    bool Publish(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) override;
    bool SetLastWill(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) override;

    // Waits until connected, or until the timeout; true when connected.
    bool WaitConnected(std::chrono::milliseconds timeout) const;
    ZStats GetStats() const;
    std::uint64_t GetConnectionCount() const override;
    // A broker that turns the credentials or the client away (CONNACK 4 or 5) is final: the
    // transport says so once and stops trying, and a blocking Connect returns false at once.
    std::string GetRefusal() const override;
    void SetOnRefused(std::function<void(const std::string&)> onRefused) override;
    std::size_t BufferedCount() const;
    // The broker of the current (or last) connection, as logs show it.
    std::string CurrentBroker() const;

    // Speak MQTT 5 rather than 3.1.1; call before Connect. A 3.1.1 broker drops a publication that
    // its ACL forbids without a word; over MQTT 5 it answers with a reason, which the transport logs
    // (one error line naming the topic) and reports (GetPublicationRefusal), so that a tool can tell
    // "not allowed" from "no answer".
    void UseMQTT5();
    std::string GetPublicationRefusal() const override;
    void SetOnPublicationRefused(std::function<void(const std::string&)> onRefused) override;

    // The payload a message travels as, and the message a payload describes (null, with `why`, when
    // it is not one). Public so that tools and tests speak the same wire format.
    static bool Encode(const ZMessage& message, std::string& payload);
    static std::shared_ptr<ZMessage> Decode(const void* payload, std::size_t size, std::string& why);

private:
    static constexpr int kQoS = 1;

    struct ZPending {
        std::string m_topic;
        std::string m_payload;
        bool m_bRetain = false;
    };
    struct ZTopicSubscribers {
        ZCommEndpoint m_endpoint;
        std::vector<std::pair<SubscriptionId, std::shared_ptr<const Delivery>>> m_deliveries;
    };

    static void OnConnectCallback(mosquitto* client, void* self, int rc);
    static void OnDisconnectCallback(mosquitto* client, void* self, int rc);
    static void OnPublishCallback(mosquitto* client, void* self, int mid);
    static void OnPublishV5Callback(mosquitto* client, void* self, int mid, int reason,
                                    const mqtt5__property* properties);
    static void OnMessageCallback(mosquitto* client, void* self, const mosquitto_message* message);
    static void OnSubscribeCallback(mosquitto* client, void* self, int mid, int count, const int* granted);

    void HandleConnect(int rc);
    void HandleDisconnect();
    // A SUBACK: refusals are logged; the last one of a connection completes its "Connected" line.
    void HandleSubscribed(int mid, int count, const int* granted);
    // Asks for the topic; with m_mutex held.
    void SubscribeLocked(const std::string& topic);
    // The connection's line, once every subscription of the connection is answered; m_mutex held.
    void LogConnectedLocked();
    // The network thread: connects, moves between brokers, reads and writes until stopped.
    void RunNetwork(mosquitto* client);
    // One connection attempt to the broker and its life; the result of the last libmosquitto call.
    int RunConnection(mosquitto* client, const ZBrokerAddress& address);
    // Waits on the back-off unless stopping; false when stopping.
    bool BackOff(std::chrono::milliseconds delay);
    bool IsStopping() const;
    void HandlePublished();
    // MQTT 5's acknowledgement with its reason: a refusal is logged and reported.
    void HandlePublishedV5(int mid, int reason);
    // "broker <URL> refused user <name>", as refusals begin.
    std::string RefusedWho() const;
    // The broker's text for a CONNACK or PUBACK code of the protocol in use.
    std::string ReasonText(int rc) const;
    // Whether a CONNACK code means "never with these credentials".
    bool IsFinalRefusal(int rc) const;
    void HandleMessage(const mosquitto_message& message);
    // The broker turned the client away for good: no more tries, the host is told.
    void Refuse(int rc);
    // Sends waiting messages while connected and the in-flight window has room. One caller at a
    // time sends, so the broker sees them in the order they were published.
    void Drain();
    void Enqueue(ZPending pending);
    bool CheckTopic(const ZCommEndpoint& endpoint, const char* what);
    void Shutdown();
    // Both with m_connectMutex held.
    bool StartClient();
    void StopClient();

    std::string m_error;
    std::string m_clientID;
    std::vector<ZBrokerAddress> m_addresses;
    std::size_t m_current = 0;  // the broker the network thread uses or tries
    std::string m_lastBroker;   // the broker of the last connection, for the failover line
    int m_keepAliveSecs = 30;
    std::chrono::milliseconds m_deliveryTimeout{5000};
    float m_connectTryTimeoutSecs = 1.2f;
    std::int32_t m_connectRetries = 5;
    bool m_bBlockUntilConnect = false;
    std::size_t m_maxBuffered = 4096;
    std::size_t m_maxInFlight = 64;
    std::size_t m_maxMessageBytes = 10240;

    std::mutex m_connectMutex;  // Connect and Shutdown, one at a time
    mosquitto* m_pClient = nullptr;
    std::thread m_network;
    bool m_bStarted = false;  // the network thread runs
    std::atomic<bool> m_bConnected{false};

    mutable std::mutex m_mutex;  // everything below
    mutable std::condition_variable m_connectedChanged;
    std::deque<ZPending> m_buffer;
    std::size_t m_inFlight = 0;
    bool m_bDraining = false;
    bool m_bStopping = false;
    bool m_bHasWill = false;
    ZPending m_will;
    std::uint64_t m_droppedSinceWarning = 0;
    ZSteadyTimePoint m_lastDropWarning{};
    std::map<int, std::string> m_subscribing;  // unanswered SUBSCRIBEs of this connection, by mid
    std::size_t m_refusedSubscriptions = 0;    // of this connection, for its Connected line
    std::size_t m_waitingAtConnect = 0;
    bool m_bConnectedLogged = false;
    std::string m_refusal;
    std::function<void(const std::string&)> m_onRefused;
    ZStats m_stats;
    SubscriptionId m_nextId = 1;
    std::map<std::string, ZTopicSubscribers> m_topics;
    std::map<SubscriptionId, std::string> m_topicOf;
    std::map<std::string, ZPending> m_retained;  // the last retained message per topic
    bool m_bMQTT5 = false;
    std::map<int, std::string> m_inFlightTopics;  // MQTT 5 only: the topic of each unacknowledged publication
    std::string m_publicationRefusal;
    std::function<void(const std::string&)> m_onPublicationRefused;
};
