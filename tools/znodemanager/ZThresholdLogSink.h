#pragma once

#include <cstdint>

#include "ZShared/ZStderrLogSink.h"

// The stderr sink behind one threshold for the whole process: a host's --log-level applies to every
// object, also to those (like a module's nodes) whose own threshold it cannot reach. Threshold 0
// writes nothing; otherwise lines below it are dropped.
class ZThresholdLogSink : public ZStderrLogSink {
public:
    explicit ZThresholdLogSink(std::int32_t threshold) : m_threshold(threshold) {}
    void Write(const ZLogRecord& record) override;

private:
    const std::int32_t m_threshold;
};
