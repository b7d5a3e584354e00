#include "NodeComm/ZNodeCommLocal.h"

#include "NodeComm/ZLocalBus.h"

ZNodeCommLocal::ZNodeCommLocal() : ZNodeCommLocal(ZLocalBus::Default()) {}

ZNodeCommLocal::ZNodeCommLocal(std::shared_ptr<ZLocalBus> bus)
    : m_pBus(bus ? std::move(bus) : ZLocalBus::Default()) {
    m_logSource = "ZNodeCommLocal";
}

ZNodeCommLocal::~ZNodeCommLocal() {
    DropSubscriptions();
}

bool ZNodeCommLocal::Connect() {
    m_bConnected = true;
    return true;
}

void ZNodeCommLocal::Disconnect() {
    m_bConnected = false;
    DropSubscriptions();
}

bool ZNodeCommLocal::IsConnected() const {
    return m_bConnected;
}

ZNodeComm::SubscriptionId ZNodeCommLocal::Subscribe(const ZCommEndpoint& endpoint, Delivery delivery) {
    if (!m_bConnected) {
        ZLOG(LOGLEVEL_WARNING, "Not connected: no subscription to <%s>", endpoint.AsString().c_str());
        return 0;
    }
    const SubscriptionId id = m_pBus->Subscribe(endpoint, StampingContact(std::move(delivery)));
    if (id == 0) {
        ZLOG(LOGLEVEL_WARNING, "Subscription to <%s> refused", endpoint.AsString().c_str());
        return 0;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_subscriptions.insert(id);
    return id;
}

bool ZNodeCommLocal::Unsubscribe(SubscriptionId subscription) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_subscriptions.erase(subscription) == 0) {
            return false;
        }
    }
    return m_pBus->Unsubscribe(subscription);
}

bool ZNodeCommLocal::Publish(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) {
    if (!message) {
        ZLOG(LOGLEVEL_WARNING, "Null message for <%s> not published", endpoint.AsString().c_str());
        return false;
    }
    if (!m_bConnected) {
        ZLOG(LOGLEVEL_WARNING, "Not connected: <%s> not published", endpoint.AsString().c_str());
        return false;
    }
    TapSent(endpoint, message);
    if (m_pBus->Publish(endpoint, message) == 0) {
        m_unheard.fetch_add(1, std::memory_order_relaxed);
        ZLOG(LOGLEVEL_DETAIL, "No subscriber for <%s>", endpoint.AsString().c_str());
    }
    return true;
}

void ZNodeCommLocal::DropSubscriptions() {
    std::set<SubscriptionId> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        dropped.swap(m_subscriptions);
    }
    for (const SubscriptionId id : dropped) {
        m_pBus->Unsubscribe(id);
    }
}
