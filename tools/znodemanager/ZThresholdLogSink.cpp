#include "ZThresholdLogSink.h"

#include "ZShared/ZLog.h"
#include "ZShared/ZStderrLogSink.h"

namespace {

bool IsLookupAnswer(const ZLogRecord& record) {
    return record.source == "ZNodeDiscovery" &&
           (record.function == "OnFindNode" || record.function == "OnFindUid" ||
            record.function == "OnGetMasterNodeManagerUID");
}

bool IsSignOfLifeAnswer(const ZLogRecord& record) {
    return record.source == "ZNodeDiscovery" && record.function == "OnFindNode" &&
           record.level == LOGLEVEL_PROGRESS;
}

}  // namespace

ZThresholdLogSink::ZThresholdLogSink(std::int32_t threshold, std::shared_ptr<ZLogSink> target,
                                     bool bAuditOnly)
    : m_threshold(threshold),
      m_pTarget(target ? std::move(target) : std::make_shared<ZStderrLogSink>()),
      m_bAuditOnly(bAuditOnly) {}

bool ZThresholdLogSink::Shows(const ZLogRecord& record) const {
    if (m_bAuditOnly && (record.source != "ZNodeDiscovery" || IsLookupAnswer(record))) {
        return false;
    }
    const std::int32_t level = IsSignOfLifeAnswer(record) ? LOGLEVEL_DETAIL : record.level;
    return ZLog::Enabled(m_threshold, level);
}

void ZThresholdLogSink::Write(const ZLogRecord& record) {
    if (Shows(record)) {
        m_pTarget->Write(record);
    }
}
