#include "NodeComm/ZNodeCommMQTT.h"

#include <mosquitto.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "NodeComm/ZBrokerAddress.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZMakeShared.h"
#include "ZShared/ZPlatform.h"

namespace {

std::string ToStd(const ZString& text) {
    return std::string(text.data(), text.size());
}

// Dropping goes on as long as a burst lasts: one line per period says how much.
constexpr std::chrono::seconds kDropWarningPeriod{5};

}  // namespace

ZNodeCommMQTT::ZNodeCommMQTT() {
    m_logSource = "ZNodeCommMQTT";
}

ZNodeCommMQTT::~ZNodeCommMQTT() {
    Shutdown();
}

bool ZNodeCommMQTT::Configure(const ZCommsParams& params, const std::string& clientID) {
    std::vector<ZBrokerAddress> addresses;
    if (std::string why; !ZBrokerAddress::ParseList(ToStd(params.TransportURL), addresses, why)) {
        m_error = "\"TransportURL\" " + why;
        return false;
    }
    std::string why;
    if (!ZCommEndpoint::IsTopicSafeUID(clientID, &why)) {
        m_error = "client ID <" + clientID + "> " + why;
        return false;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_addresses = std::move(addresses);
    m_current = 0;
    m_clientID = clientID;
    m_connectTryTimeoutSecs = params.ConnectTryTimeoutSecs > 0 ? params.ConnectTryTimeoutSecs : 1.2f;
    m_connectRetries = params.ConnectRetries > 0 ? params.ConnectRetries : 1;
    m_bBlockUntilConnect = params.bZCoreBlockUntilConnect;
    m_maxBuffered =
        params.MaxBufferedMQTTMessages > 0 ? static_cast<std::size_t>(params.MaxBufferedMQTTMessages) : 1;
    m_maxInFlight =
        params.nMaxOutstandingMessages > 0 ? static_cast<std::size_t>(params.nMaxOutstandingMessages) : 1;
    m_maxMessageBytes = params.nMaxMessageBytes > 0 ? static_cast<std::size_t>(params.nMaxMessageBytes) : 0;
    m_deliveryTimeout = std::chrono::milliseconds(std::max(params.MessageDeliveryTimeoutMs, 0));
    m_error.clear();
    return true;
}

bool ZNodeCommMQTT::SetLastWill(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) {
    if (!message || !CheckTopic(endpoint, "last will")) {
        return false;
    }
    std::string payload;
    if (!Encode(*message, payload)) {
        ZLOG(LOGLEVEL_ERROR, "Last will <%s> does not serialize", message->ClassName());
        return false;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_bStarted) {
        ZLOG(LOGLEVEL_WARNING, "Last will for <%s> set after connecting: not used",
             endpoint.AsString().c_str());
        return false;
    }
    m_will = ZPending{ToStd(endpoint.AsString()), std::move(payload), message->GetRetained()};
    m_bHasWill = true;
    return true;
}

bool ZNodeCommMQTT::IsConnected() const {
    return m_bConnected.load();
}

bool ZNodeCommMQTT::CheckTopic(const ZCommEndpoint& endpoint, const char* what) {
    std::string why;
    if (endpoint.m_type == EP_NULL) {
        why = "has no channel kind";
    } else if (!ZCommEndpoint::IsTopicSafeUID(endpoint.m_uid.AsString(), &why)) {
        why = "UID " + why;
    } else if (endpoint.m_name.find_first_of("+#") != ZString::npos) {
        why = "name contains an MQTT wildcard";
    }
    if (why.empty()) {
        return true;
    }
    ZLOG(LOGLEVEL_ERROR, "%s on <%s> refused: the endpoint %s", what, endpoint.AsString().c_str(),
         why.c_str());
    return false;
}

ZNodeComm::SubscriptionId ZNodeCommMQTT::Subscribe(const ZCommEndpoint& endpoint, Delivery delivery) {
    if (!delivery || !CheckTopic(endpoint, "Subscription")) {
        return 0;
    }
    const std::string topic = ToStd(endpoint.AsString());
    auto shared = std::make_shared<const Delivery>(StampingContact(std::move(delivery)));
    std::lock_guard<std::mutex> lock(m_mutex);
    const SubscriptionId id = m_nextId++;
    auto& subscribers = m_topics[topic];
    const bool first = subscribers.m_deliveries.empty();
    subscribers.m_endpoint = endpoint;
    subscribers.m_deliveries.emplace_back(id, std::move(shared));
    m_topicOf.emplace(id, topic);
    // While disconnected the subscription waits for the next connection, which subscribes to all.
    if (first && m_bConnected && m_pClient != nullptr) {
        SubscribeLocked(topic);
    }
    return id;
}

bool ZNodeCommMQTT::Unsubscribe(SubscriptionId subscription) {
    std::shared_ptr<const Delivery> released;  // destroyed after the lock
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto topicIt = m_topicOf.find(subscription);
    if (topicIt == m_topicOf.end()) {
        return false;
    }
    const auto subscribers = m_topics.find(topicIt->second);
    if (subscribers != m_topics.end()) {
        auto& list = subscribers->second.m_deliveries;
        for (auto it = list.begin(); it != list.end(); ++it) {
            if (it->first == subscription) {
                released = std::move(it->second);
                list.erase(it);
                break;
            }
        }
        if (list.empty()) {
            if (m_bConnected && m_pClient != nullptr) {
                mosquitto_unsubscribe(m_pClient, nullptr, subscribers->first.c_str());
            }
            m_topics.erase(subscribers);
        }
    }
    m_topicOf.erase(topicIt);
    return true;
}

bool ZNodeCommMQTT::Encode(const ZMessage& message, std::string& payload) {
    auto stream = ZMakeShared<ZJSONCommStream>();
    stream->SetCompact(true);
    return message.SerializeMessage(stream) && stream->GetData(payload);
}

std::shared_ptr<ZMessage> ZNodeCommMQTT::Decode(const void* payload, std::size_t size, std::string& why) {
    auto stream = ZMakeShared<ZJSONCommStream>();
    stream->m_logLevel = LOGLEVEL_NONE;  // the caller logs the one line that matters
    stream->m_bFileAccess = false;
    stream->CountReadProblems();
    if (!stream->SetData(payload, size)) {
        why = "not a JSON object";
        return nullptr;
    }
    ZString className;
    if (!stream->HasKey("class")) {
        why = "no \"class\"";
        return nullptr;
    }
    if (!stream->Deserialize("class", className) || className.empty()) {
        why = "\"class\" is not a class name";
        return nullptr;
    }
    const std::string name = ToStd(className);
    auto made = ZShared::ZFactory::TryCreateShared(name.c_str());
    if (!made) {
        why = "unknown class <" + name + ">";
        return nullptr;
    }
    if (!ZShared::CID::IsKindOf(ZMessage::m_cid, made->GetCID())) {
        why = "class <" + name + "> is not a message";
        return nullptr;
    }
    auto message = std::static_pointer_cast<ZMessage>(made);
    ZCommEndpoint source;
    ZString sourceText;
    if (stream->Deserialize("source", sourceText)) {
        source.Parse(std::string_view(sourceText.data(), sourceText.size()));
    }
    std::int32_t deliveryInfo = 0;
    stream->Deserialize("deliveryInfo", deliveryInfo);
    bool responseRequested = false;
    stream->Deserialize("responseRequested", responseRequested);
    bool notification = false;
    stream->Deserialize("notification", notification);
    std::int32_t priority = message->GetDefaultPriority();
    stream->Deserialize("priority", priority);
    // An absent body reads as an empty one, so that a class whose defaults are no valid message
    // (a node manager's configuration without a UID) refuses it as it would refuse "body": {}.
    const auto body = stream->HasKey("body") ? stream->ReadChild("body") : stream->CreateChild();
    if (!body) {
        why = "\"body\" is not an object";
        return nullptr;
    }
    if (!message->Deserialize(body)) {
        why = "\"body\" does not read as <" + name + ">";
        return nullptr;
    }
    if (const std::size_t problems = stream->ReadProblemCount(); problems > 0) {
        why = std::to_string(problems) + " value(s) of the wrong type or out of range";
        return nullptr;
    }
    message->SetSource(source);
    message->SetDeliveryInfo(deliveryInfo);
    ZMessageFlags flags;
    flags.m_bResponseRequested = responseRequested;
    flags.m_bNotification = notification;
    message->SetFlags(flags);
    message->m_priority = priority;
    return message;
}

bool ZNodeCommMQTT::Publish(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) {
    if (!message) {
        ZLOG(LOGLEVEL_WARNING, "Null message for <%s> not published", endpoint.AsString().c_str());
        return false;
    }
    const auto refuse = [this] {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_stats.m_refused;
        return false;
    };
    if (!CheckTopic(endpoint, "Publication")) {
        return refuse();
    }
    ZPending pending;
    if (!Encode(*message, pending.m_payload)) {
        ZLOG(LOGLEVEL_ERROR, "Message <%s> for <%s> does not serialize: not published", message->ClassName(),
             endpoint.AsString().c_str());
        return refuse();
    }
    if (m_maxMessageBytes > 0 && pending.m_payload.size() > m_maxMessageBytes) {
        ZLOG(LOGLEVEL_ERROR, "Message <%s> for <%s> is %zu bytes, over nMaxMessageBytes %zu: not published",
             message->ClassName(), endpoint.AsString().c_str(), pending.m_payload.size(), m_maxMessageBytes);
        return refuse();
    }
    TapSent(endpoint, message);
    pending.m_topic = ToStd(endpoint.AsString());
    pending.m_bRetain = message->GetRetained();
    if (pending.m_bRetain) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_retained[pending.m_topic] = pending;
    }
    Enqueue(std::move(pending));
    Drain();
    return true;
}

void ZNodeCommMQTT::Enqueue(ZPending pending) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_buffer.size() >= m_maxBuffered) {
        ++m_stats.m_dropped;
        ++m_droppedSinceWarning;
        // The first drop at once, then one line per period with the count, however long it lasts.
        const ZSteadyTimePoint now = ZPlatform::SteadyNow();
        if (m_lastDropWarning == ZSteadyTimePoint{} || now - m_lastDropWarning >= kDropWarningPeriod) {
            ZLOG(LOGLEVEL_WARNING,
                 "Buffer full (%zu messages, MaxBufferedMQTTMessages): dropped %llu, the last for <%s>; %llu "
                 "dropped since the start",
                 m_buffer.size(), static_cast<unsigned long long>(m_droppedSinceWarning),
                 m_buffer.front().m_topic.c_str(), static_cast<unsigned long long>(m_stats.m_dropped));
            m_droppedSinceWarning = 0;
            m_lastDropWarning = now;
        }
        m_buffer.pop_front();
    }
    m_buffer.push_back(std::move(pending));
}

void ZNodeCommMQTT::Drain() {
    for (;;) {
        ZPending next;
        mosquitto* client = nullptr;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_bDraining || !m_bConnected || m_pClient == nullptr || m_buffer.empty() ||
                m_inFlight >= m_maxInFlight) {
                return;
            }
            m_bDraining = true;
            next = std::move(m_buffer.front());
            m_buffer.pop_front();
            ++m_inFlight;
            client = m_pClient;
        }
        int mid = 0;
        const int rc =
            mosquitto_publish(client, &mid, next.m_topic.c_str(), static_cast<int>(next.m_payload.size()),
                              next.m_payload.data(), kQoS, next.m_bRetain);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bDraining = false;
        if (m_bMQTT5 && rc == MOSQ_ERR_SUCCESS) {
            m_inFlightTopics[mid] = next.m_topic;
        }
        if (rc != MOSQ_ERR_SUCCESS) {
            // Kept at the front for the next connection; the disconnect callback follows.
            --m_inFlight;
            ZLOG(LOGLEVEL_WARNING, "Publishing on <%s>: %s; kept for the next connection",
                 next.m_topic.c_str(), mosquitto_strerror(rc));
            m_buffer.push_front(std::move(next));
            return;
        }
        ++m_stats.m_published;
    }
}

void ZNodeCommMQTT::HandlePublished() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_inFlight > 0) {
            --m_inFlight;
        }
        ++m_stats.m_acknowledged;
        m_connectedChanged.notify_all();
    }
    Drain();
}

void ZNodeCommMQTT::OnMessageCallback(mosquitto*, void* self, const mosquitto_message* message) {
    if (message != nullptr) {
        static_cast<ZNodeCommMQTT*>(self)->HandleMessage(*message);
    }
}

void ZNodeCommMQTT::HandleMessage(const mosquitto_message& received) {
    const char* topic = received.topic != nullptr ? received.topic : "";
    const std::size_t size = received.payloadlen > 0 ? static_cast<std::size_t>(received.payloadlen) : 0;
    std::string why;
    std::shared_ptr<ZMessage> message;
    if (m_maxMessageBytes > 0 && size > m_maxMessageBytes) {
        why = std::to_string(size) + " bytes, over nMaxMessageBytes " + std::to_string(m_maxMessageBytes);
    } else {
        message = Decode(received.payload, size, why);
    }
    std::vector<std::shared_ptr<const Delivery>> deliveries;
    ZCommEndpoint endpoint;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!message) {
            ++m_stats.m_malformed;
        } else if (const auto it = m_topics.find(topic); it != m_topics.end()) {
            endpoint = it->second.m_endpoint;
            for (const auto& subscriber : it->second.m_deliveries) {
                deliveries.push_back(subscriber.second);
            }
            ++m_stats.m_received;
        }
    }
    if (!message) {
        ZLOG(LOGLEVEL_WARNING, "Dropped a message on <%s>: %s", topic, why.c_str());
        return;
    }
    for (const auto& delivery : deliveries) {
        (*delivery)(endpoint, message);
    }
}

void ZNodeCommMQTT::Refuse(int rc) {
    std::function<void(const std::string&)> onRefused;
    std::string refusal;
    mosquitto* client = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_refusal = RefusedWho() + ": " + ReasonText(rc);
        refusal = m_refusal;
        onRefused = m_onRefused;
        client = m_pClient;
        m_connectedChanged.notify_all();
    }
    // From the library's own thread this only ends its reconnecting.
    if (client != nullptr) {
        mosquitto_disconnect(client);
    }
    if (onRefused) {
        onRefused(refusal);
    }
}

std::string ZNodeCommMQTT::GetRefusal() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_refusal;
}

void ZNodeCommMQTT::SetOnRefused(std::function<void(const std::string&)> onRefused) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_onRefused = std::move(onRefused);
}

ZNodeCommMQTT::ZStats ZNodeCommMQTT::GetStats() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_stats;
}

std::uint64_t ZNodeCommMQTT::GetConnectionCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_stats.m_connects;
}

std::size_t ZNodeCommMQTT::BufferedCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_buffer.size();
}
