#include "ZShared/ZLog.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdarg>
#include <cstdio>

#include "ZShared/ZStderrLogSink.h"

ZLogSink::~ZLogSink() = default;

ZLog* ZLog::m_pLogSingleton = nullptr;

ZLog::ZLog() {
    m_sinks.push_back(std::make_shared<ZStderrLogSink>());
}

ZLog* ZLog::GetLogger() {
    // Made on first use and never destroyed, so objects torn down late can still log.
    static ZLog* logger = [] {
        m_pLogSingleton = new ZLog();
        return m_pLogSingleton;
    }();
    return logger;
}

void ZLog::Log(std::int32_t level, const char* source, const char* file, const char* function, int line,
               const char* format, ...) {
    ZLogRecord record;
    record.level = level;
    record.source = source != nullptr ? source : "";
    record.file = file != nullptr ? file : "";
    record.function = function != nullptr ? function : "";
    record.line = line;
    record.wallTimeUs = std::chrono::duration_cast<std::chrono::microseconds>(
                            std::chrono::system_clock::now().time_since_epoch())
                            .count();
    char buffer[512];
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    if (needed >= static_cast<int>(sizeof buffer)) {
        record.text.resize(static_cast<std::size_t>(needed) + 1);
        std::vsnprintf(record.text.data(), record.text.size(), format, copy);
        record.text.resize(static_cast<std::size_t>(needed));
    } else if (needed >= 0) {
        record.text.assign(buffer, static_cast<std::size_t>(needed));
    }
    va_end(copy);

    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& sink : m_sinks) {
        sink->Write(record);
    }
}

void ZLog::SetSink(std::shared_ptr<ZLogSink> sink) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_sinks.clear();
    m_sinks.push_back(sink ? std::move(sink) : std::make_shared<ZStderrLogSink>());
}

void ZLog::AddSink(std::shared_ptr<ZLogSink> sink) {
    if (!sink) {
        return;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_sinks.push_back(std::move(sink));
}

void ZLog::RemoveSink(const std::shared_ptr<ZLogSink>& sink) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_sinks.erase(std::remove(m_sinks.begin(), m_sinks.end(), sink), m_sinks.end());
}

namespace {
constexpr const char* kLevelNames[] = {"none", "detail", "progress", "warning", "error"};
}

const char* ZLog::LogLevelToString(ZLogLevel level) {
    if (level < LOGLEVEL_NONE || level > LOGLEVEL_ERROR) {
        return "";
    }
    return kLevelNames[level];
}

ZLogLevel ZLog::StringToLogLevel(std::string_view text) {
    const auto sameLetters = [](std::string_view a, std::string_view b) {
        return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
                   return std::tolower(static_cast<unsigned char>(x)) ==
                          std::tolower(static_cast<unsigned char>(y));
               });
    };
    // Names as written, the usual case, are found without folding case.
    for (int i = LOGLEVEL_NONE; i <= LOGLEVEL_ERROR; ++i) {
        if (text == kLevelNames[i]) {
            return static_cast<ZLogLevel>(i);
        }
    }
    for (int i = LOGLEVEL_NONE; i <= LOGLEVEL_ERROR; ++i) {
        const char digit[] = {static_cast<char>('0' + i), '\0'};
        if (sameLetters(text, kLevelNames[i]) || text == digit) {
            return static_cast<ZLogLevel>(i);
        }
    }
    return LOGLEVEL_NONE;
}
