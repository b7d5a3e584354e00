#pragma once

#include <cstdint>
#include <memory>

#include "ZMessages/ZMessage.h"
#include "ZShared/ZNodeUID.h"

// One node manager taken out of the topology: who, when and why.
struct Z_EXPORT ZRemovalRecord {
    // {"nodeManagerUID", "timeUs", "reason"}
    void Serialize(const std::shared_ptr<ZCommStream>& stream) const;
    void Deserialize(const std::shared_ptr<ZCommStream>& stream);

    ZNodeUID m_nodeManagerUID;
    std::int64_t m_timeUs = 0;  // wall clock, microseconds since the epoch
    ZString m_reason;           // "request", "silence", "connection lost" or "new session"
};

// The discovery node's latest removals, oldest first, published (retained) on
// status/<discovery UID>/removals after every removal so that operators can ask why a node
// manager disappeared.
class Z_EXPORT ZRemovalHistoryMsg : public ZMessage {
    Z_FACTORY_CLASS(ZRemovalHistoryMsg)

public:
    static constexpr std::size_t kMaxRecords = 64;

    // "records": an array of {"nodeManagerUID", "timeUs", "reason"}
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZVector<ZRemovalRecord> m_records;
};
