// Registers the node library's classes with the factory when the library is loaded.
#include "NodeBase/ZAnchorPointToolsMetadata.h"
#include "NodeBase/ZCommEnabledObject.h"
#include "NodeBase/ZDiscoveryConnectMsg.h"
#include "NodeBase/ZDiscoveryDeleteMsg.h"
#include "NodeBase/ZDiscoveryFindNodeMsg.h"
#include "NodeBase/ZDiscoveryFindUIDMsg.h"
#include "NodeBase/ZDiscoveryGetNodeManagersMsg.h"
#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZDiscoveryNodeManagersMsg.h"
#include "NodeBase/ZDiscoveryPluginMsg.h"
#include "NodeBase/ZDiscoveryRequestMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZDiscoveryTopoChangeNotificationMsg.h"
#include "NodeBase/ZEdgeToolsMetadata.h"
#include "NodeBase/ZNode.h"
#include "NodeBase/ZNodeManager.h"
#include "NodeBase/ZNodeManagerConfig.h"
#include "NodeBase/ZNodeToolsMetadata.h"
#include "NodeBase/ZNodeUIDMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZNumberingMsg.h"
#include "NodeBase/ZOnlineStatusMsg.h"
#include "NodeBase/ZRemovalHistoryMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
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
        ZClassRegistration<ZDiscoveryManagerMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryRequestMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryPluginMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryConnectMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryDeleteMsg>::Register("ZMessage");
        ZClassRegistration<ZRemoveNodeManagerMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryFindNodeMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryFindUIDMsg>::Register("ZMessage");
        ZClassRegistration<ZNodeUIDMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryRequestMasterNodeManagerUIDMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryMasterNodeManagerUIDMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryLockUnlockMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryTopoChangeNotificationMsg>::Register("ZMessage");
        ZClassRegistration<ZNodesDisconnectedMsg>::Register("ZMessage");
        ZClassRegistration<ZOnlineStatusMsg>::Register("ZMessage");
        ZClassRegistration<ZRemovalHistoryMsg>::Register("ZMessage");
        ZClassRegistration<ZNumberingMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryGetNodeManagersMsg>::Register("ZMessage");
        ZClassRegistration<ZDiscoveryNodeManagersMsg>::Register("ZMessage");
        ZClassRegistration<ZNodeManagerConfig>::Register("ZConfig");
        ZClassRegistration<ZNodeManager>::Register("ZNode");
    }
} g_nodeBaseClasses;
}  // namespace
