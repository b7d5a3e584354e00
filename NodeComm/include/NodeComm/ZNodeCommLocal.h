#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>

#include "NodeComm/ZNodeComm.h"

class ZLocalBus;

// The in-process transport: nodes in one process exchange messages through a shared ZLocalBus,
// without a broker and without copying. It is connected from construction; Disconnect drops the
// transport's subscriptions and refuses traffic until Connect.
//
// A publication nobody subscribes to is not an error (status and telemetry are often published
// before anyone listens): Publish returns true and counts it in GetUnheardCount.
class Z_EXPORT ZNodeCommLocal : public ZNodeComm {
    Z_FACTORY_CLASS(ZNodeCommLocal)

public:
    ZNodeCommLocal();
    explicit ZNodeCommLocal(std::shared_ptr<ZLocalBus> bus);
    ~ZNodeCommLocal() override;

    bool Connect() override;
    void Disconnect() override;
    bool IsConnected() const override;

    SubscriptionId Subscribe(const ZCommEndpoint& endpoint, Delivery delivery) override;
    // Only this transport's own subscriptions.
    bool Unsubscribe(SubscriptionId subscription) override;
    // False for a null message or while disconnected.
    bool Publish(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) override;

    const std::shared_ptr<ZLocalBus>& GetBus() const { return m_pBus; }
    std::uint64_t GetUnheardCount() const { return m_unheard.load(std::memory_order_relaxed); }

private:
    void DropSubscriptions();

    const std::shared_ptr<ZLocalBus> m_pBus;
    std::atomic<bool> m_bConnected{true};
    std::atomic<std::uint64_t> m_unheard{0};
    mutable std::mutex m_mutex;
    std::set<SubscriptionId> m_subscriptions;
};
