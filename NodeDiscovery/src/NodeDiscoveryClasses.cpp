// Registers the module's classes with the factory when the module is loaded.
#include "NodeDiscovery/ZDiscoveryConfig.h"
#include "NodeDiscovery/ZNodeDiscovery.h"
#include "ZShared/ZFactory.h"

namespace {
struct NodeDiscoveryClasses {
    NodeDiscoveryClasses() {
        ZClassRegistration<ZDiscoveryConfig>::Register("ZConfig");
        ZClassRegistration<ZNodeDiscovery>::Register("ZNode");
    }
} g_nodeDiscoveryClasses;
}  // namespace
