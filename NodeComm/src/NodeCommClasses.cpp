// Registers the communication library's classes with the factory when the library is loaded.
#include "NodeComm/ZNodeComm.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "NodeComm/ZNodeCommMQTT.h"
#include "ZShared/ZFactory.h"

namespace {
struct NodeCommClasses {
    NodeCommClasses() {
        ZClassRegistration<ZNodeComm>::Register("ZFactoryObject");
        ZClassRegistration<ZNodeCommLocal>::Register("ZNodeComm");
        ZClassRegistration<ZNodeCommMQTT>::Register("ZNodeComm");
    }
} g_nodeCommClasses;
}  // namespace
