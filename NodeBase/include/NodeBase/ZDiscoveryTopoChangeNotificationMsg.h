#pragma once

#include "ZMessages/ZMessage.h"

// Tells subscribers that the topology has changed.
class Z_EXPORT ZDiscoveryTopoChangeNotificationMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryTopoChangeNotificationMsg)

public:
    ZDiscoveryTopoChangeNotificationMsg();
    ~ZDiscoveryTopoChangeNotificationMsg() override;
};
