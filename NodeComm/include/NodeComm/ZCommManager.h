#pragma once

#include <cstdint>

#include "ZShared/ZExport.h"
#include "ZShared/ZLog.h"

// The communication layer's bookkeeping shared by a transport and the nodes on it, among it the
// registry of node managers and the nodes they host.
class Z_EXPORT ZCommManager {
public:
    ZCommManager();
    virtual ~ZCommManager();

    const char* m_logSource = "ZCommManager";
    std::int32_t m_logLevel = LOGLEVEL_WARNING;
};
