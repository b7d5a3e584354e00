#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "ZMessages/ZCommEndpoint.h"
#include "ZMessages/ZMessage.h"

// A node's inbox: what its subscriptions delivered, waiting for the pump. Transports hold it
// through their delivery functions, so it outlives the node it belongs to and a delivery that
// arrives late lands here harmlessly. Once closed it drops what it holds and refuses more.
class ZMessageQueue {
public:
    using Handler = std::function<bool(std::shared_ptr<ZMessage>&)>;

    struct ZEntry {
        ZCommEndpoint m_endpoint;
        std::shared_ptr<ZMessage> m_pMessage;
        std::shared_ptr<const Handler> m_pHandler;
    };

    // False when closed.
    bool Push(ZEntry entry);
    bool TryPop(ZEntry& entry);
    // Blocks until an entry waits, the queue is closed or the timeout passes; true when an entry
    // waits.
    bool WaitForEntry(std::chrono::milliseconds timeout);
    void Close();
    bool IsClosed() const;
    std::size_t Size() const;

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_cv;
    std::deque<ZEntry> m_entries;
    bool m_bClosed = false;
};
