#pragma once

#include "ZCoreConfigs/ZConfig.h"

// Periodic status reports (counters, memory, queue depths) written by a node manager.
class Z_EXPORT ZReportParams : public ZConfig {
    Z_FACTORY_CLASS(ZReportParams)

public:
    ZReportParams() = default;
    // "bEnabled", "ReportPath", "nReportIntervalSecs".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    bool m_bEnabled = false;
    ZString m_reportPath;
    std::int32_t m_reportIntervalSecs = 60;
};
