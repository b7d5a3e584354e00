// Registers the node library's classes with the factory when the library is loaded.
#include "NodeBase/ZAnchorPointToolsMetadata.h"
#include "NodeBase/ZCommEnabledObject.h"
#include "NodeBase/ZEdgeToolsMetadata.h"
#include "NodeBase/ZNode.h"
#include "NodeBase/ZNodeToolsMetadata.h"
#include "NodeBase/ZTopologyEdge.h"
#include "NodeBase/ZTopologyMsg.h"
#include "NodeBase/ZTopologyNode.h"
#include "ZShared/ZFactory.h"

namespace {
struct NodeBaseClasses {
    NodeBaseClasses() {
        ZClassRegistration<ZCommEnabledObject>::Register("ZFactoryObject");
        ZClassRegistration<ZNode>::Register("ZCommEnabledObject");
        ZClassRegistration<ZAnchorPointToolsMetadata>::Register("ZMessage");
        ZClassRegistration<ZNodeToolsMetadata>::Register("ZMessage");
        ZClassRegistration<ZEdgeToolsMetadata>::Register("ZMessage");
        ZClassRegistration<ZTopologyNode>::Register("ZMessage");
        ZClassRegistration<ZTopologyEdge>::Register("ZMessage");
        ZClassRegistration<ZTopologyMsg>::Register("ZMessage");
    }
} g_nodeBaseClasses;
}  // namespace
