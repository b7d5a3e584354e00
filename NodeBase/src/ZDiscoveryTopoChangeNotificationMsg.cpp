#include "NodeBase/ZDiscoveryTopoChangeNotificationMsg.h"

ZDiscoveryTopoChangeNotificationMsg::ZDiscoveryTopoChangeNotificationMsg() = default;

ZDiscoveryTopoChangeNotificationMsg::~ZDiscoveryTopoChangeNotificationMsg() = default;
