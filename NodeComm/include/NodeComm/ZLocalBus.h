#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "NodeComm/ZNodeComm.h"

// The in-process message switch behind ZNodeCommLocal: subscriptions keyed by the endpoint's text
// form, so two endpoints that print alike are one channel, as they would be on a broker. Safe from
// any thread. Deliveries run on the publishing thread, outside the bus lock, so a delivery may
// publish, subscribe or unsubscribe again; a delivery already under way when its subscription is
// dropped may still complete.
class Z_EXPORT ZLocalBus {
public:
    using SubscriptionId = ZNodeComm::SubscriptionId;
    using Delivery = ZNodeComm::Delivery;

    ZLocalBus();
    ~ZLocalBus();
    ZLocalBus(const ZLocalBus&) = delete;
    ZLocalBus& operator=(const ZLocalBus&) = delete;

    // The process-wide bus that default-constructed transports share.
    static std::shared_ptr<ZLocalBus> Default();

    // 0 for an EP_NULL endpoint or an empty delivery. The endpoint's retained message, if any, is
    // delivered at once, on the subscribing thread.
    SubscriptionId Subscribe(const ZCommEndpoint& endpoint, Delivery delivery);
    bool Unsubscribe(SubscriptionId subscription);
    // Hands the one message object to every subscriber of the endpoint, in subscription order;
    // returns how many there were. A message flagged m_bRetained replaces the endpoint's retained
    // one.
    std::size_t Publish(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message);

    std::size_t SubscriberCount(const ZCommEndpoint& endpoint) const;
    std::size_t SubscriptionCount() const;

private:
    struct ZSubscriber {
        SubscriptionId m_id;
        std::shared_ptr<const Delivery> m_pDelivery;
    };

    mutable std::mutex m_mutex;
    SubscriptionId m_nextId = 1;
    struct ZTopicHash {
        std::size_t operator()(const ZString& topic) const {
            return std::hash<std::string_view>{}(std::string_view(topic.data(), topic.size()));
        }
    };

    std::unordered_map<ZString, std::vector<ZSubscriber>, ZTopicHash> m_subscribers;
    std::unordered_map<SubscriptionId, ZString> m_topicOf;
    std::map<ZString, std::shared_ptr<ZMessage>> m_retained;
};
