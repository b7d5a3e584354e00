#include "ZMessageQueue.h"

bool ZMessageQueue::Push(ZEntry entry) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_bClosed) {
            return false;
        }
        m_entries.push_back(std::move(entry));
    }
    m_cv.notify_one();
    return true;
}

bool ZMessageQueue::TryPop(ZEntry& entry) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_entries.empty()) {
        return false;
    }
    entry = std::move(m_entries.front());
    m_entries.pop_front();
    return true;
}

bool ZMessageQueue::WaitForEntry(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_cv.wait_for(lock, timeout, [this] { return m_bClosed || !m_entries.empty(); });
    return !m_entries.empty();
}

void ZMessageQueue::Close() {
    // Messages are released outside the lock: their destructors are not ours to schedule.
    std::deque<ZEntry> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bClosed = true;
        dropped.swap(m_entries);
    }
    m_cv.notify_all();
}

bool ZMessageQueue::IsClosed() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bClosed;
}

std::size_t ZMessageQueue::Size() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_entries.size();
}
