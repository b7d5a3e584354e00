#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ZShared/ZLogSink.h"

// Collects log records so tests can assert on level and text. Installing it replaces the stderr
// sink for its lifetime (ScopedCapture).
class ZCapturingLogSink : public ZLogSink {
public:
    void Write(const ZLogRecord& record) override;

    std::vector<ZLogRecord> Records() const;
    std::vector<std::string> Texts() const;
    // Lines whose text contains the fragment (at the level, when one is given).
    std::size_t Count(const std::string& fragment, int level = 0) const;
    bool Contains(const std::string& fragment, int level = 0) const { return Count(fragment, level) > 0; }
    void Clear();

private:
    mutable std::mutex m_mutex;
    std::vector<ZLogRecord> m_records;
};

// Routes every log line to a fresh capturing sink while it lives.
class ZScopedLogCapture {
public:
    ZScopedLogCapture();
    ~ZScopedLogCapture();
    ZScopedLogCapture(const ZScopedLogCapture&) = delete;
    ZScopedLogCapture& operator=(const ZScopedLogCapture&) = delete;

    ZCapturingLogSink& Sink() { return *m_pSink; }
    ZCapturingLogSink* operator->() { return m_pSink.get(); }

private:
    std::shared_ptr<ZCapturingLogSink> m_pSink;
};
