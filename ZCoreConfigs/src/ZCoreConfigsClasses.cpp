// Registers the configuration library's classes with the factory when the library is loaded.
#include "ZCoreConfigs/ZConfig.h"
#include "ZShared/ZFactory.h"

namespace {
struct ZCoreConfigsClasses {
    ZCoreConfigsClasses() { ZClassRegistration<ZConfig>::Register("ZMessage"); }
} g_zCoreConfigsClasses;
}  // namespace
