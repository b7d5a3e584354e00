#include "ZThresholdLogSink.h"

#include "ZShared/ZLog.h"

namespace {
bool IsSignOfLifeAnswer(const ZLogRecord& record) {
    return record.source == "ZNodeDiscovery" && record.function == "OnFindNode" &&
           record.level == LOGLEVEL_PROGRESS;
}
}  // namespace

bool ZThresholdLogSink::Shows(const ZLogRecord& record) const {
    const std::int32_t level = IsSignOfLifeAnswer(record) ? LOGLEVEL_DETAIL : record.level;
    return ZLog::Enabled(m_threshold, level);
}

void ZThresholdLogSink::Write(const ZLogRecord& record) {
    if (Shows(record)) {
        ZStderrLogSink::Write(record);
    }
}
