#include "ZDemoLogSink.h"

#include "ZDemoTimeline.h"
#include "ZShared/ZLog.h"

void ZDemoLogSink::Write(const ZLogRecord& record) {
    if (record.level < LOGLEVEL_WARNING) {
        return;
    }
    std::string text = record.text;
    while (!text.empty() && (text.front() == ' ' || text.front() == '-')) {
        text.erase(0, 1);
    }
    ZDemoTimeline::Get().Print(record.source, (record.level >= LOGLEVEL_ERROR ? "error: " : "") + text);
}
