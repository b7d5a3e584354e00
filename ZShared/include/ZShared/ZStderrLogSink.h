#pragma once

#include "ZShared/ZLogSink.h"

// The default sink: one line per record on stderr, prefixed with time, level, source and place.
class Z_EXPORT ZStderrLogSink : public ZLogSink {
public:
    void Write(const ZLogRecord& record) override;
    static std::string Format(const ZLogRecord& record);
};
