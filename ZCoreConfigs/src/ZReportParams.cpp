#include "ZCoreConfigs/ZReportParams.h"

#include "ZMessages/ZCommStream.h"

bool ZReportParams::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("bEnabled", m_bEnabled, false);
    stream->Serialize("ReportPath", m_reportPath, false);
    stream->Serialize("nReportIntervalSecs", m_reportIntervalSecs, false);
    return true;
}

bool ZReportParams::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("bEnabled", m_bEnabled);
    stream->Deserialize("ReportPath", m_reportPath);
    stream->Deserialize("nReportIntervalSecs", m_reportIntervalSecs);
    return true;
}
