#pragma once

#include "ZMessages/ZMessage.h"

// Asks the discovery node which node managers it has registered and who holds the lock; the
// answer is a ZDiscoveryNodeManagersMsg. It has no body: operators' tools ask for everything and
// pick what they show.
class Z_EXPORT ZDiscoveryGetNodeManagersMsg : public ZMessage {
    Z_FACTORY_CLASS(ZDiscoveryGetNodeManagersMsg)

public:
    ZDiscoveryGetNodeManagersMsg();
    ~ZDiscoveryGetNodeManagersMsg() override;
};
