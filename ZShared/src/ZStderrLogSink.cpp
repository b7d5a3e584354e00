#include "ZShared/ZStderrLogSink.h"

#include <cstdio>
#include <ctime>

std::string ZStderrLogSink::Format(const ZLogRecord& record) {
    const std::time_t seconds = static_cast<std::time_t>(record.wallTimeUs / 1000000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", &utc);
    char prefix[96];
    std::snprintf(prefix, sizeof prefix, "%s.%06lldZ [%d] ", stamp,
                  static_cast<long long>(record.wallTimeUs % 1000000), record.level);
    std::string text = record.text;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.pop_back();
    }
    return std::string(prefix) + record.source + " " + record.file + ":" + record.function + ":" +
           std::to_string(record.line) + " " + text;
}

void ZStderrLogSink::Write(const ZLogRecord& record) {
    const std::string line = Format(record) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}
