#include "ZTestKit/ZCapturingLogSink.h"

#include "ZShared/ZLog.h"

void ZCapturingLogSink::Write(const ZLogRecord& record) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_records.push_back(record);
}

std::vector<ZLogRecord> ZCapturingLogSink::Records() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_records;
}

std::vector<std::string> ZCapturingLogSink::Texts() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> texts;
    for (const auto& record : m_records) {
        texts.push_back(record.text);
    }
    return texts;
}

std::size_t ZCapturingLogSink::Count(const std::string& fragment, int level) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::size_t count = 0;
    for (const auto& record : m_records) {
        if ((level == 0 || record.level == level) && record.text.find(fragment) != std::string::npos) {
            ++count;
        }
    }
    return count;
}

void ZCapturingLogSink::Clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_records.clear();
}

ZScopedLogCapture::ZScopedLogCapture() : m_pSink(std::make_shared<ZCapturingLogSink>()) {
    ZLog::GetLogger()->SetSink(m_pSink);
}

ZScopedLogCapture::~ZScopedLogCapture() {
    ZLog::GetLogger()->SetSink(nullptr);
}
