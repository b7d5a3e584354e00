#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "NodeComm/ZNodeComm.h"

// Listens on one endpoint of a transport and keeps every message delivered there, in order.
// Deliveries may come from any thread; a delivery after the recorder is gone is dropped.
class ZRecordingSubscriber {
public:
    ZRecordingSubscriber(std::shared_ptr<ZNodeComm> comm, const ZCommEndpoint& endpoint);
    ~ZRecordingSubscriber();
    ZRecordingSubscriber(const ZRecordingSubscriber&) = delete;
    ZRecordingSubscriber& operator=(const ZRecordingSubscriber&) = delete;

    bool IsSubscribed() const { return m_id != 0; }
    std::vector<std::shared_ptr<ZMessage>> Messages() const;
    std::size_t Count() const;
    // The last message as a T; null when there is none or it is not a T.
    template <class T>
    std::shared_ptr<T> Last() const;
    void Clear();
    // For tests on real threads: true once at least `count` messages have arrived.
    bool WaitForCount(std::size_t count, std::chrono::milliseconds timeout) const;

private:
    struct ZRecord {
        mutable std::mutex m_mutex;
        mutable std::condition_variable m_cv;
        std::vector<std::shared_ptr<ZMessage>> m_messages;
    };

    const std::shared_ptr<ZNodeComm> m_pComm;
    const std::shared_ptr<ZRecord> m_pRecord;
    ZNodeComm::SubscriptionId m_id = 0;
};

template <class T>
std::shared_ptr<T> ZRecordingSubscriber::Last() const {
    std::lock_guard<std::mutex> lock(m_pRecord->m_mutex);
    if (m_pRecord->m_messages.empty()) {
        return nullptr;
    }
    return std::dynamic_pointer_cast<T>(m_pRecord->m_messages.back());
}
