#pragma once

#include "ZCoreConfigs/ZLogParams.h"

// The audit log: who changed what. Same settings as any log, kept as a class of its own so that a
// configuration set can hold it beside the others.
class Z_EXPORT ZAuditLogParams : public ZLogParams {
    Z_FACTORY_CLASS(ZAuditLogParams)

public:
    ZAuditLogParams() = default;
};
