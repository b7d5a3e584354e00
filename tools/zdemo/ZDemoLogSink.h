#pragma once

#include "ZShared/ZLogSink.h"

// Puts warnings and errors of the framework on the timeline: retries, refusals, and why the
// discovery node removed a node manager. Lower levels are left out, as the timeline tells those
// events from the messages themselves.
class ZDemoLogSink : public ZLogSink {
public:
    void Write(const ZLogRecord& record) override;
};
