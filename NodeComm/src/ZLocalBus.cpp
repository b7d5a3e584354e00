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
    // Every message crosses here: the topic's text and the usual single delivery take no allocation.
    thread_local ZString topic;
    endpoint.AssignText(topic);
    const bool retain = message->GetRetained();
    std::shared_ptr<const Delivery> first;
    std::vector<std::shared_ptr<const Delivery>> others;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (retain) {
            m_retained[topic] = message;
        }
        const auto it = m_subscribers.find(topic);
        if (it == m_subscribers.end() || it->second.empty()) {
            return 0;
        }
        first = it->second.front().m_pDelivery;
        for (std::size_t i = 1; i < it->second.size(); ++i) {
            others.push_back(it->second[i].m_pDelivery);
        }
    }
    (*first)(endpoint, message);
    for (const auto& delivery : others) {
        (*delivery)(endpoint, message);
    }
    return 1 + others.size();
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
