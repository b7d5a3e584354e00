#include "ZTestKit/ZRecordingSubscriber.h"

ZRecordingSubscriber::ZRecordingSubscriber(std::shared_ptr<ZNodeComm> comm, const ZCommEndpoint& endpoint)
    : m_pComm(std::move(comm)), m_pRecord(std::make_shared<ZRecord>()) {
    if (!m_pComm) {
        return;
    }
    std::weak_ptr<ZRecord> weakRecord = m_pRecord;
    m_id = m_pComm->Subscribe(endpoint,
                              [weakRecord](const ZCommEndpoint&, const std::shared_ptr<ZMessage>& message) {
                                  if (auto record = weakRecord.lock()) {
                                      {
                                          std::lock_guard<std::mutex> lock(record->m_mutex);
                                          record->m_messages.push_back(message);
                                      }
                                      record->m_cv.notify_all();
                                  }
                              });
}

ZRecordingSubscriber::~ZRecordingSubscriber() {
    if (m_pComm && m_id != 0) {
        m_pComm->Unsubscribe(m_id);
    }
}

std::vector<std::shared_ptr<ZMessage>> ZRecordingSubscriber::Messages() const {
    std::lock_guard<std::mutex> lock(m_pRecord->m_mutex);
    return m_pRecord->m_messages;
}

std::size_t ZRecordingSubscriber::Count() const {
    std::lock_guard<std::mutex> lock(m_pRecord->m_mutex);
    return m_pRecord->m_messages.size();
}

void ZRecordingSubscriber::Clear() {
    std::lock_guard<std::mutex> lock(m_pRecord->m_mutex);
    m_pRecord->m_messages.clear();
}

bool ZRecordingSubscriber::WaitForCount(std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_pRecord->m_mutex);
    return m_pRecord->m_cv.wait_for(lock, timeout, [&] { return m_pRecord->m_messages.size() >= count; });
}
