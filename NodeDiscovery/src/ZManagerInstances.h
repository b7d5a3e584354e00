#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ZShared/ZAllocator.h"
#include "ZShared/ZNodeUID.h"

// Which start of each node manager's process the discovery node serves. Every start of a node
// manager of this framework has an ID of its own, carried by its registration and by its last will,
// so that two processes under one UID (a frozen one and its replacement) are told apart: a will or a
// registration from a start that a later start has replaced is refused, and the newest start wins.
// A record outlives the node manager's removal, so that a start that comes back after its
// replacement left is still known as replaced. Start ID 0 is a client that does not say.
class ZManagerInstances {
public:
    // The registered start of the node manager; 0 when none is known.
    std::int64_t Current(const ZNodeUID& uid) const;
    // Whether that start of the node manager was replaced by a later one.
    bool IsReplaced(const ZNodeUID& uid, std::int64_t startID) const;
    // Whether a removal on behalf of that start must be ignored: the node manager is registered
    // under another start.
    bool IsStale(const ZNodeUID& uid, std::int64_t startID) const;
    // The start registered; the one it replaces, if any, is remembered as replaced.
    void Register(const ZNodeUID& uid, std::int64_t startID);

private:
    // Replaced starts kept per node manager: enough for a few processes fighting over one UID,
    // bounded so that the table does not grow with the number of restarts.
    static constexpr std::size_t kReplacedKept = 8;
    struct ZRecord {
        std::int64_t m_current = 0;
        std::array<std::int64_t, kReplacedKept> m_replaced{};
        std::size_t m_next = 0;  // where the next replaced start goes, oldest overwritten
    };

    ZMap<ZNodeUID, ZRecord> m_records;
};
