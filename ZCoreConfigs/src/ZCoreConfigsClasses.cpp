// Registers the configuration library's classes with the factory when the library is loaded.
// The log records are registered under "ZConfig", like every other record.
#include "ZCoreConfigs/ZAuditLogParams.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZCoreConfigs/ZConfig.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZLogParams.h"
#include "ZCoreConfigs/ZMessageLogParams.h"
#include "ZCoreConfigs/ZReportParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZCoreConfigs/ZTraceLogParams.h"
#include "ZShared/ZFactory.h"

namespace {
struct ZCoreConfigsClasses {
    ZCoreConfigsClasses() {
        ZClassRegistration<ZConfig>::Register("ZMessage");
        ZClassRegistration<ZLogParams>::Register("ZConfig");
        ZClassRegistration<ZTraceLogParams>::Register("ZConfig");
        ZClassRegistration<ZAuditLogParams>::Register("ZConfig");
        ZClassRegistration<ZMessageLogParams>::Register("ZConfig");
        ZClassRegistration<ZReportParams>::Register("ZConfig");
        ZClassRegistration<ZCoreConfigParams>::Register("ZConfig");
        ZClassRegistration<ZCommsParams>::Register("ZConfig");
        ZClassRegistration<ZSystemParams>::Register("ZConfig");
    }
} g_zCoreConfigsClasses;
}  // namespace
