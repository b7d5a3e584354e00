#pragma once

#include <cstdint>
#include <memory>

#include "ZShared/ZLogSink.h"

// One threshold in front of one destination (stderr unless given), for the whole process: a host's
// log level applies to every object, also to those (like a module's nodes) whose own threshold it
// cannot reach. Threshold 0 writes nothing; otherwise lines below it are dropped.
//
// The discovery node answers every node manager's sign of life ("findnode", every third of the dead
// time) with three progress lines; at the host's default threshold they would bury what an operator
// follows: registrations, removals and their reasons, the lock, faults. The sink shows them only
// from threshold 1 (detail) on. What the node logs, and at which level, stays as it is.
//
// An audit sink keeps only what changes the system: the discovery node's lines other than its
// answers to lookups.
class ZThresholdLogSink : public ZLogSink {
public:
    explicit ZThresholdLogSink(std::int32_t threshold, std::shared_ptr<ZLogSink> target = nullptr,
                               bool bAuditOnly = false);
    void Write(const ZLogRecord& record) override;
    // Whether the record is written.
    bool Shows(const ZLogRecord& record) const;
    std::int32_t GetThreshold() const { return m_threshold; }

private:
    const std::int32_t m_threshold;
    const std::shared_ptr<ZLogSink> m_pTarget;
    const bool m_bAuditOnly;
};
