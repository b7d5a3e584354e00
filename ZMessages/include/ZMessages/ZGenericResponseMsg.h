#pragma once

#include "ZMessages/ZFrameworkErrorCodes.h"
#include "ZMessages/ZMessage.h"

// The framework's success/error answer: what it is about, the outcome and an error code.
class Z_EXPORT ZGenericResponseMsg : public ZMessage {
    Z_FACTORY_CLASS(ZGenericResponseMsg)

public:
    ZGenericResponseMsg() = default;
    ZGenericResponseMsg(const ZString& text, bool success,
                        ZFrameworkErrorCodes::ZErrorCode errCode = ZFrameworkErrorCodes::ERRCODE_NONE)
        : m_text(text), m_bSuccess(success), m_errCode(errCode) {}

    // "text", "bSuccess", then "ErrCode": the code's name on a text stream ("" outside the table),
    // its number otherwise.
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    // Absent keys keep their members; a name that is not exactly one of the codes keeps the code.
    // A number is stored as read. Always true.
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;
    bool IsCloneable() const override { return true; }

    ZString m_text;
    bool m_bSuccess = false;
    ZFrameworkErrorCodes::ZErrorCode m_errCode = ZFrameworkErrorCodes::ERRCODE_NONE;
};
