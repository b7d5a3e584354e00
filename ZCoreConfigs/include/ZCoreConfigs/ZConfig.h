#pragma once

#include "ZMessages/ZMessage.h"

// Base of every configuration record. Records are messages so that they travel, serialize and
// are created by class name like any other.
class Z_EXPORT ZConfig : public ZMessage {
    Z_FACTORY_CLASS(ZConfig)

public:
    ZConfig() = default;
    ~ZConfig() override;
};
