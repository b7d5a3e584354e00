// The module's load-time registration and version exports. Each row enters a class with the factory
// unless a module loaded earlier already did: the guard flag, the creator and the class ID are
// shared by every module of the process, so the first registration and its class ID serve all.
#include "NodeBase/ZAnchorPointToolsMetadata.h"
#include "NodeBase/ZEdgeToolsMetadata.h"
#include "NodeBase/ZNode.h"
#include "NodeBase/ZNodeToolsMetadata.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeComm/ZNodeComm.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "NodeDiscovery/ZDiscoveryConfig.h"
#include "NodeDiscovery/ZNodeDiscovery.h"
#include "ZCoreConfigs/ZAuditLogParams.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZLogParams.h"
#include "ZCoreConfigs/ZMessageLogParams.h"
#include "ZCoreConfigs/ZReportParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZCoreConfigs/ZTraceLogParams.h"
#include "ZMessages/ZAntennaConfigMsg.h"
#include "ZMessages/ZCommStream.h"
#include "ZMessages/ZCommStreamObject.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZMessages/ZRadarModeMsg.h"
#include "ZMessages/ZVersionInfoMsg.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZModuleClassRow.h"

namespace {

constexpr std::size_t kClassCount = 23;
ZModuleClassRow g_classTable[kClassCount];
std::size_t g_classCount = 0;

template <class T>
void RegisterRow(const char* baseClassName) {
    const bool here = !ZClassRegistration<T>::m_bRegistered;
    ZClassRegistration<T>::Register(baseClassName);
    if (g_classCount < kClassCount) {
        g_classTable[g_classCount++] = {T::StaticClassName(), baseClassName, T::m_cid, here};
    }
}

struct NodeDiscoveryClasses {
    NodeDiscoveryClasses() {
        RegisterRow<ZCommStream>("ZFactoryObject");
        RegisterRow<ZCommStreamObject>("ZFactoryObject");
        RegisterRow<ZJSONCommStream>("ZCommStream");
        RegisterRow<ZAnchorPointToolsMetadata>("ZMessage");
        RegisterRow<ZNodeToolsMetadata>("ZMessage");
        RegisterRow<ZEdgeToolsMetadata>("ZMessage");
        RegisterRow<ZDiscoveryConfig>("ZConfig");
        RegisterRow<ZLogParams>("ZConfig");
        RegisterRow<ZTraceLogParams>("ZConfig");
        RegisterRow<ZAuditLogParams>("ZConfig");
        RegisterRow<ZMessageLogParams>("ZConfig");
        RegisterRow<ZReportParams>("ZConfig");
        RegisterRow<ZCoreConfigParams>("ZConfig");
        RegisterRow<ZCommsParams>("ZConfig");
        RegisterRow<ZNodeComm>("ZFactoryObject");
        RegisterRow<ZNodeCommLocal>("ZNodeComm");
        RegisterRow<ZNode>("ZCommEnabledObject");
        RegisterRow<ZNodeDiscovery>("ZNode");
        RegisterRow<ZNodesDisconnectedMsg>("ZMessage");
        RegisterRow<ZRadarModeMsg>("ZMessage");
        RegisterRow<ZVersionInfoMsg>("ZGenericResponseMsg");
        RegisterRow<ZAntennaConfigMsg>("ZMessage");
        RegisterRow<ZSystemParams>("ZConfig");
    }
} g_nodeDiscoveryClasses;

}  // namespace

extern "C" {

Z_EXPORT const char* GetVersionTag() {
    return "2.151";
}

Z_EXPORT const char* GetVersionHash() {
    return "575577671";
}

Z_EXPORT const ZModuleClassRow* GetModuleClassTable(std::size_t* count) {
    if (count != nullptr) {
        *count = g_classCount;
    }
    return g_classTable;
}
}
