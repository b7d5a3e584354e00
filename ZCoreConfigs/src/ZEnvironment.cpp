#include "ZCoreConfigs/ZEnvironment.h"

ZEnvironment::~ZEnvironment() = default;

bool ZEnvironment::ResolveEnvVarsInPath(const ZString&, ZString&) const {
    return false;
}
