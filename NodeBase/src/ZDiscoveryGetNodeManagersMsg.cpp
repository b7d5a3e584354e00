#include "NodeBase/ZDiscoveryGetNodeManagersMsg.h"

ZDiscoveryGetNodeManagersMsg::ZDiscoveryGetNodeManagersMsg() = default;

ZDiscoveryGetNodeManagersMsg::~ZDiscoveryGetNodeManagersMsg() = default;
