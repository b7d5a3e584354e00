#include "ZCoreConfigs/ZLogParams.h"

#include "ZCoreConfigs/ZEnvironment.h"
#include "ZMessages/ZCommStream.h"

bool ZLogParams::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("LogPath", m_logPath, false);
    stream->Serialize("LogLevel", ZLog::LogLevelToString(m_level), false);
    stream->Serialize("nMaxFileSizeKB", m_maxFileSizeKB, false);
    stream->Serialize("nMaxFiles", m_maxFiles, false);
    stream->Serialize("bConsole", m_bConsole, false);
    return true;
}

bool ZLogParams::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("LogPath", m_logPath);
    ZString level;
    if (stream->Deserialize("LogLevel", level)) {
        m_level = ZLog::StringToLogLevel(ToStdString(level));
    }
    stream->Deserialize("nMaxFileSizeKB", m_maxFileSizeKB);
    stream->Deserialize("nMaxFiles", m_maxFiles);
    stream->Deserialize("bConsole", m_bConsole);
    return true;
}

bool ZLogParams::ResolvePaths(const ZMap<ZString, ZString>&) {
    if (m_pEnvironment) {
        m_pEnvironment->ResolveEnvVarsInPath(m_logPath, m_resolvedLogPath);
    }
    return true;
}
