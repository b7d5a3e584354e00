#pragma once

#include <cstdint>
#include <memory>

#include "ZMessages/ZMessage.h"
#include "ZShared/ZNodeUID.h"

// Whether the discovery node is serving, kept by the broker for late subscribers on
// status/<discovery UID>/online. Its host publishes it online when the discovery node starts and
// offline when it stops; the host's last will publishes it offline when the host dies. A new
// m_startID tells node managers that the discovery node restarted and has forgotten them.
class Z_EXPORT ZOnlineStatusMsg : public ZMessage {
    Z_FACTORY_CLASS(ZOnlineStatusMsg)

public:
    // "bOnline", "nodeManagerUID", "startID"
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    bool m_bOnline = false;
    ZNodeUID m_nodeManagerUID;  // the node manager hosting the discovery node
    std::int64_t m_startID = 0;  // different for every start of the host
};
