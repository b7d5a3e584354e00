// What the broker answers with a reason: refused connections and, over MQTT 5, refused publications.
#include <mosquitto.h>
#include <mqtt_protocol.h>

#include "NodeComm/ZNodeCommMQTT.h"

namespace {

// CONNACK codes of MQTT 3.1.1 that no retry will change, and their MQTT 5 counterparts.
constexpr int kConnackBadCredentials = 4;
constexpr int kConnackNotAuthorised = 5;

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
    return "broker <" + m_address.Shown() + "> refused " +
           (m_address.m_user.empty() ? std::string("a client without credentials")
                                     : "user <" + m_address.m_user + ">");
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
