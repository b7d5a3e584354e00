#pragma once

#include "ZMessages/ZGenericResponseMsg.h"

// Answers a version query: the generic response with the version tag and hash of what answered.
class Z_EXPORT ZVersionInfoMsg : public ZGenericResponseMsg {
    Z_FACTORY_CLASS(ZVersionInfoMsg)

public:
    ZVersionInfoMsg() = default;
    // The generic response's keys, then "versionTag" and "versionHash".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZString m_versionTag;
    ZString m_versionHash;
};
