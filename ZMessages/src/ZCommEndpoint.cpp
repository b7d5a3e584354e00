#include "ZMessages/ZCommEndpoint.h"

#include <tuple>

#include "ZMessages/ZCommStream.h"

ZEndpointType ZEndpointTypeConv::StrToEndpointType(std::string_view text) {
    return ZEnum::Cast<ZEndpointType>(text).value_or(EP_NULL);
}

const char* ZEndpointTypeConv::EndpointTypeToStr(ZEndpointType type) { return ZEnum::Name(type); }

ZString ZCommEndpoint::AsString() const {
    if (m_type == EP_NULL) {
        return "null";
    }
    ZString text = ZEndpointTypeConv::EndpointTypeToStr(m_type);
    text += '/';
    text += m_uid.AsString();
    if (!m_name.empty()) {
        text += '/';
        text += m_name;
    }
    return text;
}

void ZCommEndpoint::Parse(std::string_view text) {
    const auto first = text.find('/');
    if (text.empty() || first == std::string_view::npos) {
        return;
    }
    m_type = ZEndpointTypeConv::StrToEndpointType(text.substr(0, first));
    const std::string_view rest = text.substr(first + 1);
    if (rest.empty()) {
        return;
    }
    const auto second = rest.find('/');
    const std::string_view uid = rest.substr(0, second);
    m_uid = ZNodeUID(ZString(uid.data(), uid.size()));
    if (second == std::string_view::npos) {
        m_name.clear();
    } else {
        const std::string_view name = rest.substr(second + 1);
        m_name.assign(name.data(), name.size());
    }
}

bool ZCommEndpoint::Deserialize(const std::shared_ptr<ZCommStream>& stream, const char* key) {
    ZString text;
    if (!stream || !stream->Deserialize(key, text)) {
        return false;
    }
    Parse(std::string_view(text.data(), text.size()));
    return true;
}

bool ZCommEndpoint::Serialize(const std::shared_ptr<ZCommStream>& stream, const char* key) const {
    return stream && stream->Serialize(key, AsString(), false);
}

bool operator<(const ZCommEndpoint& a, const ZCommEndpoint& b) {
    return std::tie(a.m_type, a.m_uid, a.m_name) < std::tie(b.m_type, b.m_uid, b.m_name);
}
