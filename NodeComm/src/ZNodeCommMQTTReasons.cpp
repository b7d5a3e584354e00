// What the broker answers with a reason: refused connections, refused subscriptions and, over MQTT 5,
// refused publications.
#include <mosquitto.h>
#include <mqtt_protocol.h>

#include "NodeComm/ZNodeCommMQTT.h"

namespace {

// CONNACK codes of MQTT 3.1.1 that no retry will change, and their MQTT 5 counterparts.
constexpr int kConnackBadCredentials = 4;
constexpr int kConnackNotAuthorised = 5;

std::string ToHex(int code) {
    static const char kDigits[] = "0123456789ABCDEF";
    return {kDigits[(code >> 4) & 0xF], kDigits[code & 0xF]};
}

}  // namespace

void ZNodeCommMQTT::UseMQTT5() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bMQTT5 = true;
}

std::string ZNodeCommMQTT::GetPublicationRefusal() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_publicationRefusal;
}

void ZNodeCommMQTT::SetOnPublicationRefused(std::function<void(const std::string&)> onRefused) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_onPublicationRefused = std::move(onRefused);
}

void ZNodeCommMQTT::OnPublishV5Callback(mosquitto*, void* self, int mid, int reason, const mqtt5__property*) {
    static_cast<ZNodeCommMQTT*>(self)->HandlePublishedV5(mid, reason);
}

void ZNodeCommMQTT::HandlePublishedV5(int mid, int reason) {
    std::function<void(const std::string&)> onRefused;
    std::string refusal;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_inFlightTopics.find(mid);
        const std::string topic = found == m_inFlightTopics.end() ? std::string("?") : found->second;
        if (found != m_inFlightTopics.end()) {
            m_inFlightTopics.erase(found);
        }
        if (reason >= MQTT_RC_UNSPECIFIED) {
            m_publicationRefusal = RefusedWho() + " to publish on <" + topic + ">: " + ReasonText(reason);
            refusal = m_publicationRefusal;
            onRefused = m_onPublicationRefused;
        }
    }
    if (!refusal.empty()) {
        ZLOG(LOGLEVEL_ERROR, "%s", refusal.c_str());
        if (onRefused) {
            onRefused(refusal);
        }
    }
    HandlePublished();
}

std::string ZNodeCommMQTT::RefusedWho() const {
    const ZBrokerAddress& address = m_addresses[m_current];
    return "broker <" + address.Shown() + "> refused " +
           (address.m_user.empty() ? std::string("a client without credentials")
                                   : "user <" + address.m_user + ">");
}

void ZNodeCommMQTT::SubscribeLocked(const std::string& topic) {
    int mid = 0;
    const int rc = mosquitto_subscribe(m_pClient, &mid, topic.c_str(), kQoS);
    if (rc != MOSQ_ERR_SUCCESS) {
        ZLOG(LOGLEVEL_WARNING, "Subscribing to <%s>: %s; retried on reconnection", topic.c_str(),
             mosquitto_strerror(rc));
        return;
    }
    m_subscribing[mid] = topic;
}

void ZNodeCommMQTT::OnSubscribeCallback(mosquitto*, void* self, int mid, int count, const int* granted) {
    static_cast<ZNodeCommMQTT*>(self)->HandleSubscribed(mid, count, granted);
}

void ZNodeCommMQTT::HandleSubscribed(int mid, int count, const int* granted) {
    std::function<void(const std::string&)> onRefused;
    std::string refusal;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_subscribing.find(mid);
        if (found == m_subscribing.end()) {
            return;  // asked on a connection that is gone
        }
        const std::string topic = found->second;
        m_subscribing.erase(found);
        // One filter per SUBSCRIBE. Any code from 0x80 on refuses it, whatever the protocol version:
        // ejabberd answers 3.1.1 clients with MQTT 5 codes too.
        const int code = count > 0 && granted != nullptr ? granted[0] : MQTT_RC_UNSPECIFIED;
        if (code >= MQTT_RC_UNSPECIFIED) {
            ++m_refusedSubscriptions;
            const char* reason = mosquitto_reason_string(code);
            m_publicationRefusal =
                RefusedWho() + " the subscription to <" + topic + ">: " + reason + " (0x" + ToHex(code) + ")";
            refusal = m_publicationRefusal;
            onRefused = m_onPublicationRefused;
        }
        if (m_subscribing.empty() && !m_bConnectedLogged && m_bConnected) {
            LogConnectedLocked();
        }
    }
    if (!refusal.empty()) {
        ZLOG(LOGLEVEL_ERROR, "%s", refusal.c_str());
        if (onRefused) {
            onRefused(refusal);
        }
    }
}

std::string ZNodeCommMQTT::ReasonText(int rc) const {
    return m_bMQTT5 ? mosquitto_reason_string(rc) : mosquitto_connack_string(rc);
}

bool ZNodeCommMQTT::IsFinalRefusal(int rc) const {
    if (m_bMQTT5) {
        return rc == MQTT_RC_BAD_USERNAME_OR_PASSWORD || rc == MQTT_RC_NOT_AUTHORIZED ||
               rc == MQTT_RC_BANNED || rc == MQTT_RC_BAD_AUTHENTICATION_METHOD;
    }
    return rc == kConnackBadCredentials || rc == kConnackNotAuthorised;
}
