#include "ZShared/ZNodeUID.h"

ZNodeUID::ZNodeUID(const std::string& text, std::int32_t number) : m_text(text.data(), text.size()) {
    m_text += std::to_string(number).c_str();
}
