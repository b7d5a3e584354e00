#pragma once

#include "ZCoreConfigs/ZConfig.h"
#include "ZShared/ZLog.h"

// Where and how much a log writes. The path may name environment variables; ResolvePaths expands
// them through the record's environment into m_resolvedLogPath. An empty path means stderr.
class Z_EXPORT ZLogParams : public ZConfig {
    Z_FACTORY_CLASS(ZLogParams)

public:
    ZLogParams() = default;

    // "LogPath", "LogLevel" (by name), "nMaxFileSizeKB", "nMaxFiles", "bConsole".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;
    // Ignores the map: the environment resolves the path. Without an environment, or when it
    // resolves nothing, the resolved path stays as it was. Always true.
    bool ResolvePaths(const ZMap<ZString, ZString>& variables) override;

    ZString m_logPath;
    ZString m_resolvedLogPath;  // not serialized
    ZLogLevel m_level = LOGLEVEL_WARNING;
    std::int32_t m_maxFileSizeKB = 10240;
    std::int32_t m_maxFiles = 5;
    bool m_bConsole = true;
};
