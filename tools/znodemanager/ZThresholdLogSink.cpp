#include "ZThresholdLogSink.h"

#include "ZShared/ZLog.h"

void ZThresholdLogSink::Write(const ZLogRecord& record) {
    if (ZLog::Enabled(m_threshold, record.level)) {
        ZStderrLogSink::Write(record);
    }
}
