#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "ZShared/ZExport.h"
#include "ZShared/ZLogSink.h"

enum ZLogLevel : std::int32_t {
    LOGLEVEL_NONE = 0,
    LOGLEVEL_DETAIL = 1,
    LOGLEVEL_PROGRESS = 2,
    LOGLEVEL_WARNING = 3,
    LOGLEVEL_ERROR = 4,
};

// The framework's logger. Objects carry their own threshold (m_logLevel) and source tag
// (m_logSource) and decide with Enabled() whether a line is written; the logger formats the
// line and hands it to its sinks (stderr unless replaced).
class Z_EXPORT ZLog {
public:
    static ZLog* GetLogger();

    // A level-L line is written by an object with threshold v only when v != 0 and v <= L.
    static bool Enabled(std::int32_t threshold, std::int32_t level) {
        return threshold != 0 && threshold <= level;
    }

    void Log(std::int32_t level, const char* source, const char* file, const char* function, int line,
             const char* format, ...) __attribute__((format(printf, 7, 8)));

    // Replaces all sinks with one; null restores the stderr sink.
    void SetSink(std::shared_ptr<ZLogSink> sink);
    void AddSink(std::shared_ptr<ZLogSink> sink);
    void RemoveSink(const std::shared_ptr<ZLogSink>& sink);

    // "none", "detail", "progress", "warning", "error"; an unknown value gives "".
    static const char* LogLevelToString(ZLogLevel level);
    // Accepts the names above in any letter case, or the digits 0 to 4; anything else,
    // including the empty text, gives LOGLEVEL_NONE.
    static ZLogLevel StringToLogLevel(std::string_view text);

private:
    ZLog();
    static ZLog* m_pLogSingleton;
    std::mutex m_mutex;
    std::vector<std::shared_ptr<ZLogSink>> m_sinks;
};

#ifndef ZLOG_FILE
#define ZLOG_FILE __FILE__
#endif

// Logs through an explicit threshold and source tag.
#define ZLOG_WITH(threshold, source, level, ...)                                                   \
    do {                                                                                           \
        if (ZLog::Enabled((threshold), (level))) {                                                 \
            ZLog::GetLogger()->Log((level), (source), ZLOG_FILE, __func__, __LINE__, __VA_ARGS__); \
        }                                                                                          \
    } while (0)

// Logs through the enclosing object's m_logLevel and m_logSource.
#define ZLOG(level, ...) ZLOG_WITH(m_logLevel, m_logSource, level, __VA_ARGS__)

// A failed internal check: one level-4 line naming file and line; execution goes on.
#define ZASSERT_WITH(threshold, source, cond)                                                            \
    do {                                                                                                 \
        if (!(cond)) {                                                                                   \
            ZLOG_WITH(threshold, source, LOGLEVEL_ERROR, "Assertion failed in <%s> at <%d>!", ZLOG_FILE, \
                      __LINE__);                                                                         \
        }                                                                                                \
    } while (0)
#define ZASSERT(cond) ZASSERT_WITH(m_logLevel, m_logSource, cond)
