#include "ZHostLogging.h"

#include "ZCoreConfigs/ZAuditLogParams.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZLogParams.h"
#include "ZCoreConfigs/ZProcessEnvironment.h"
#include "ZCoreConfigs/ZTraceLogParams.h"
#include "ZRotatingFileLogSink.h"
#include "ZShared/ZLog.h"
#include "ZShared/ZMakeShared.h"
#include "ZThresholdLogSink.h"

bool ZHostLogging::Configure(const std::shared_ptr<ZCoreConfigParams>& set, std::int32_t commandLineLevel,
                             std::string& error) {
    m_sinks.clear();
    std::shared_ptr<ZLogParams> log;
    std::shared_ptr<ZTraceLogParams> trace;
    std::shared_ptr<ZAuditLogParams> audit;
    if (set) {
        // The environment warns of an unset variable on its own; the host says it once, as an error.
        ZLog::GetLogger()->SetSink(std::make_shared<ZThresholdLogSink>(LOGLEVEL_NONE));
        set->SetEnvironment(std::make_shared<ZProcessEnvironment>());
        set->ResolvePaths({});
        log = set->GetConfig<ZLogParams>();
        trace = set->GetConfig<ZTraceLogParams>();
        audit = set->GetConfig<ZAuditLogParams>();
    }
    if (!log) {
        m_sinks.push_back(
            std::make_shared<ZThresholdLogSink>(commandLineLevel >= 0 ? commandLineLevel : kDefaultLevel));
    } else {
        const std::int32_t level = commandLineLevel >= 0 ? commandLineLevel : log->m_level;
        if (log->m_logPath.empty() || log->m_bConsole) {
            m_sinks.push_back(std::make_shared<ZThresholdLogSink>(level));
        }
        if (!log->m_logPath.empty() &&
            !AddFile("ZLogParams", ToStdString(log->m_logPath), ToStdString(log->m_resolvedLogPath), level,
                     log->m_maxFileSizeKB, log->m_maxFiles, false, error)) {
            return false;
        }
    }
    if (trace && !trace->m_logPath.empty() &&
        !AddFile("ZTraceLogParams", ToStdString(trace->m_logPath), ToStdString(trace->m_resolvedLogPath),
                 trace->m_level, trace->m_maxFileSizeKB, trace->m_maxFiles, false, error)) {
        return false;
    }
    if (audit && !audit->m_logPath.empty() &&
        !AddFile("ZAuditLogParams", ToStdString(audit->m_logPath), ToStdString(audit->m_resolvedLogPath),
                 audit->m_level, audit->m_maxFileSizeKB, audit->m_maxFiles, true, error)) {
        return false;
    }
    return true;
}

bool ZHostLogging::AddFile(const char* className, const std::string& configuredPath,
                           const std::string& resolvedPath, std::int32_t level, std::int32_t maxFileSizeKB,
                           std::int32_t maxFiles, bool bAuditOnly, std::string& error) {
    if (resolvedPath.empty()) {
        error =
            std::string(className) + ": LogPath <" + configuredPath + "> names a variable that is not set";
        return false;
    }
    auto file = std::make_shared<ZRotatingFileLogSink>(
        resolvedPath, static_cast<std::int64_t>(maxFileSizeKB) * 1024, maxFiles);
    std::string why;
    if (!file->Open(why)) {
        error = std::string(className) + ": " + why;
        return false;
    }
    m_sinks.push_back(std::make_shared<ZThresholdLogSink>(level, std::move(file), bAuditOnly));
    return true;
}

std::int32_t ZHostLogging::GetObjectThreshold() const {
    std::int32_t threshold = LOGLEVEL_NONE;
    for (const auto& sink : m_sinks) {
        const std::int32_t level = sink->GetThreshold();
        if (level != LOGLEVEL_NONE && (threshold == LOGLEVEL_NONE || level < threshold)) {
            threshold = level;
        }
    }
    return threshold;
}

void ZHostLogging::Install() const {
    auto* logger = ZLog::GetLogger();
    if (m_sinks.empty()) {
        logger->SetSink(std::make_shared<ZThresholdLogSink>(LOGLEVEL_NONE));
        return;
    }
    logger->SetSink(m_sinks.front());
    for (std::size_t i = 1; i < m_sinks.size(); ++i) {
        logger->AddSink(m_sinks[i]);
    }
}
