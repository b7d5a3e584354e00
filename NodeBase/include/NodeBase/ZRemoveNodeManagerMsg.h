#pragma once

#include <cstdint>
#include <memory>

#include "ZMessages/ZMessage.h"
#include "ZShared/ZNodeUID.h"

// Asks the discovery node to forget a node manager and every node it hosts. A node manager's last
// will is one of these with the reason "connection lost", published by the broker when the
// manager's connection dies without a goodbye; it names the start of the process that left it, so
// that a will outliving its instance does not remove a newer one.
class Z_EXPORT ZRemoveNodeManagerMsg : public ZMessage {
    Z_FACTORY_CLASS(ZRemoveNodeManagerMsg)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZNodeUID m_nodeManagerUID;
    ZString m_reason;  // why, when the requester says ("connection lost"); empty for a plain request
    std::int64_t m_startID = 0;  // the start of the node manager meant; 0 for any
};
