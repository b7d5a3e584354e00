// Registers the node library's classes with the factory when the library is loaded.
#include "ZShared/ZFactory.h"

namespace {
struct NodeBaseClasses {
    NodeBaseClasses() {}
} g_nodeBaseClasses;
}  // namespace
