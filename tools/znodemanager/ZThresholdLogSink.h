#pragma once

#include <cstdint>

#include "ZShared/ZStderrLogSink.h"

// The stderr sink behind one threshold for the whole process: a host's --log-level applies to every
// object, also to those (like a module's nodes) whose own threshold it cannot reach. Threshold 0
// writes nothing; otherwise lines below it are dropped.
//
// The discovery node answers every node manager's sign of life ("findnode", every third of the dead
// time) with three progress lines; at the host's default threshold they would bury what an operator
// follows: registrations, removals and their reasons, the lock, faults. The sink shows them only
// from threshold 1 (detail) on. What the node logs, and at which level, stays as it is.
class ZThresholdLogSink : public ZStderrLogSink {
public:
    explicit ZThresholdLogSink(std::int32_t threshold) : m_threshold(threshold) {}
    void Write(const ZLogRecord& record) override;
    // Whether the record is written.
    bool Shows(const ZLogRecord& record) const;

private:
    const std::int32_t m_threshold;
};
