#include "ZCoreConfigs/ZConfig.h"

ZConfig::~ZConfig() = default;
