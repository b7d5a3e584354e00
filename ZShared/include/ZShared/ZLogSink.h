#pragma once

#include <cstdint>
#include <string>

#include "ZShared/ZExport.h"

// One log line with every field the logger was given.
struct ZLogRecord {
    std::int32_t level = 0;
    std::string source;    // the emitting object's source tag (its factory class name)
    std::string file;      // library folder on, no extension: "NodeBase/ZCommEnabledObject"
    std::string function;  // bare function name
    std::int32_t line = 0;
    std::string text;      // the formatted message
    std::int64_t wallTimeUs = 0;
};

// Destination of log lines. Write may be called from any thread, one call at a time.
class Z_EXPORT ZLogSink {
public:
    virtual ~ZLogSink();
    virtual void Write(const ZLogRecord& record) = 0;
};
