#include "ZCoreConfigs/ZMessageLogParams.h"

#include "ZMessages/ZCommStream.h"

bool ZMessageLogParams::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("bEnabled", m_bEnabled, false);
    stream->Serialize("LogPath", m_logPath, false);
    stream->Serialize("Classes", m_classes, false);
    stream->Serialize("nMaxLoggedBytes", m_maxLoggedBytes, false);
    return true;
}

bool ZMessageLogParams::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("bEnabled", m_bEnabled);
    stream->Deserialize("LogPath", m_logPath);
    stream->Deserialize("Classes", m_classes);
    stream->Deserialize("nMaxLoggedBytes", m_maxLoggedBytes);
    return true;
}
