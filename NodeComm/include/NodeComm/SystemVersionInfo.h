#pragma once

#include "ZShared/ZAllocator.h"

// A node manager's system version texts, carried whole and never interpreted here.
struct SystemVersionInfo {
    ZString m_systemVersion;
    ZString m_frameworkVersion;
    ZString m_moduleVersion;
    ZString m_osVersion;
    ZString m_hardwareVersion;
    ZString m_buildInfo;
};
