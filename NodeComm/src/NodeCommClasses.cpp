// Registers the communication library's classes with the factory when the library is loaded.
#include "NodeComm/ZNodeComm.h"
#include "ZShared/ZFactory.h"

namespace {
struct NodeCommClasses {
    NodeCommClasses() { ZClassRegistration<ZNodeComm>::Register("ZFactoryObject"); }
} g_nodeCommClasses;
}  // namespace
