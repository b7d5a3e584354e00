#pragma once

#include <cstdint>
#include <memory>

#include "ZMessages/ZMessage.h"

// The last number the discovery node handed out for each class name, kept retained on
// status/<discovery UID>/numbering. A discovery node that restarts reads it back before it serves,
// so that a node numbered before the restart never shares its UID with one numbered after.
class Z_EXPORT ZNumberingMsg : public ZMessage {
    Z_FACTORY_CLASS(ZNumberingMsg)

public:
    struct Z_EXPORT ZCounter {
        // {"className", "lastID"}
        void Serialize(const std::shared_ptr<ZCommStream>& stream) const;
        void Deserialize(const std::shared_ptr<ZCommStream>& stream);

        ZString m_className;
        std::int32_t m_lastID = 0;
    };

    // "counters": an array of {"className", "lastID"}
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZVector<ZCounter> m_counters;
};
