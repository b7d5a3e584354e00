#include "ZManagerInstances.h"

#include <algorithm>

std::int64_t ZManagerInstances::Current(const ZNodeUID& uid) const {
    const auto found = m_records.find(uid);
    return found != m_records.end() ? found->second.m_current : 0;
}

bool ZManagerInstances::IsReplaced(const ZNodeUID& uid, std::int64_t startID) const {
    const auto found = m_records.find(uid);
    if (startID == 0 || found == m_records.end()) {
        return false;
    }
    const auto& replaced = found->second.m_replaced;
    return std::find(replaced.begin(), replaced.end(), startID) != replaced.end();
}

bool ZManagerInstances::IsStale(const ZNodeUID& uid, std::int64_t startID) const {
    const std::int64_t current = Current(uid);
    return startID != 0 && current != 0 && current != startID;
}

void ZManagerInstances::Register(const ZNodeUID& uid, std::int64_t startID) {
    if (startID == 0) {
        return;
    }
    ZRecord& record = m_records[uid];
    if (record.m_current == startID) {
        return;
    }
    if (record.m_current != 0) {
        record.m_replaced[record.m_next] = record.m_current;
        record.m_next = (record.m_next + 1) % kReplacedKept;
    }
    record.m_current = startID;
}
