#include "NodeComm/ZLocalBus.h"

#include <algorithm>

ZLocalBus::ZLocalBus() = default;

ZLocalBus::~ZLocalBus() = default;

std::shared_ptr<ZLocalBus> ZLocalBus::Default() {
    // Never destroyed, so transports torn down during static destruction can still unsubscribe.
    static auto* bus = new std::shared_ptr<ZLocalBus>(std::make_shared<ZLocalBus>());
    return *bus;
}

ZLocalBus::SubscriptionId ZLocalBus::Subscribe(const ZCommEndpoint& endpoint, Delivery delivery) {
    if (endpoint.m_type == EP_NULL || !delivery) {
        return 0;
    }
    ZString topic = endpoint.AsString();
    auto shared = std::make_shared<const Delivery>(std::move(delivery));
    std::shared_ptr<ZMessage> retained;
    SubscriptionId id = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        id = m_nextId++;
        m_subscribers[topic].push_back(ZSubscriber{id, shared});
        const auto kept = m_retained.find(topic);
        if (kept != m_retained.end()) {
            retained = kept->second;
        }
        m_topicOf.emplace(id, std::move(topic));
    }
    if (retained) {
        (*shared)(endpoint, retained);
    }
    return id;
}

bool ZLocalBus::Unsubscribe(SubscriptionId subscription) {
    // Released after the lock: destroying a delivery may run arbitrary destructors.
    std::shared_ptr<const Delivery> released;
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto topicIt = m_topicOf.find(subscription);
    if (topicIt == m_topicOf.end()) {
        return false;
    }
    const auto listIt = m_subscribers.find(topicIt->second);
    if (listIt != m_subscribers.end()) {
        auto& list = listIt->second;
        const auto it = std::find_if(list.begin(), list.end(),
                                     [subscription](const ZSubscriber& s) { return s.m_id == subscription; });
        if (it != list.end()) {
            released = std::move(it->m_pDelivery);
            list.erase(it);
        }
        if (list.empty()) {
            m_subscribers.erase(listIt);
        }
    }
    m_topicOf.erase(topicIt);
    return true;
}

std::size_t ZLocalBus::Publish(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) {
    if (!message) {
        return 0;
    }
    const ZString topic = endpoint.AsString();
    const bool retain = message->GetFlags().m_bRetained;
    std::vector<std::shared_ptr<const Delivery>> deliveries;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (retain) {
            m_retained[topic] = message;
        }
        const auto it = m_subscribers.find(topic);
        if (it == m_subscribers.end()) {
            return 0;
        }
        deliveries.reserve(it->second.size());
        for (const auto& subscriber : it->second) {
            deliveries.push_back(subscriber.m_pDelivery);
        }
    }
    for (const auto& delivery : deliveries) {
        (*delivery)(endpoint, message);
    }
    return deliveries.size();
}

std::size_t ZLocalBus::SubscriberCount(const ZCommEndpoint& endpoint) const {
    const ZString topic = endpoint.AsString();
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_subscribers.find(topic);
    return it == m_subscribers.end() ? 0 : it->second.size();
}

std::size_t ZLocalBus::SubscriptionCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_topicOf.size();
}
