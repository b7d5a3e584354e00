#include "ZMessages/ZCommEndpoint.h"

#include <algorithm>
#include <tuple>

#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZCommStream.h"

ZEndpointType ZEndpointTypeConv::StrToEndpointType(std::string_view text) {
    return ZEnum::Cast<ZEndpointType>(text).value_or(EP_NULL);
}

const char* ZEndpointTypeConv::EndpointTypeToStr(ZEndpointType type) {
    return ZEnum::Name(type);
}

namespace {
// Room for the text of most endpoints, which is too long for a string's inline buffer.
constexpr std::size_t kTextRoom = 128;

// The stream as a binary one, which lends and takes endpoint texts without a string in between:
// topologies read and write them by the ten thousand. Null for any other kind.
ZBinaryCommStream* AsBinary(ZCommStream* stream) {
    return ZBinaryCommStream::m_cid != 0 && stream->GetCID() == ZBinaryCommStream::m_cid
               ? static_cast<ZBinaryCommStream*>(stream)
               : nullptr;
}
}  // namespace

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

bool ZCommEndpoint::IsTopicSafeUID(std::string_view uid, std::string* why) {
    const char* problem = nullptr;
    if (uid.empty()) {
        problem = "is empty";
    }
    for (const char c : uid) {
        if (problem) {
            break;
        }
        if (c == '/') {
            problem = "contains \"/\"";
        } else if (c == '+' || c == '#') {
            problem = "contains an MQTT wildcard (\"+\" or \"#\")";
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            problem = "contains a control character";
        }
    }
    if (problem && why) {
        *why = problem;
    }
    return problem == nullptr;
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
    m_uid = ZNodeUID(rest.substr(0, second));
    if (second == std::string_view::npos) {
        m_name.clear();
    } else {
        const std::string_view name = rest.substr(second + 1);
        m_name.assign(name.data(), name.size());
    }
}

void ZCommEndpoint::AssignText(ZString& out) const {
    char text[256];
    if (const std::size_t length = TextInto(text, sizeof text)) {
        out.assign(text, length);
    } else {
        out = AsString();
    }
}

std::size_t ZCommEndpoint::TextInto(char* out, std::size_t room) const {
    const bool isNull = m_type == EP_NULL;
    const std::string_view type = isNull ? "null" : ZEndpointTypeConv::EndpointTypeToStr(m_type);
    const ZString& uid = m_uid.AsString();
    const bool named = !isNull && !m_name.empty();
    const std::size_t length = type.size() + (isNull ? 0 : 1 + uid.size()) + (named ? 1 + m_name.size() : 0);
    if (length > room) {
        return 0;
    }
    char* at = std::copy(type.begin(), type.end(), out);
    if (!isNull) {
        *at++ = '/';
        at = std::copy(uid.begin(), uid.end(), at);
    }
    if (named) {
        *at++ = '/';
        std::copy(m_name.begin(), m_name.end(), at);
    }
    return length;
}

bool ZCommEndpoint::Deserialize(const std::shared_ptr<ZCommStream>& stream, const char* key) {
    if (!stream) {
        return false;
    }
    if (ZBinaryCommStream* binary = AsBinary(stream.get())) {
        std::string_view text;
        if (!binary->DeserializeView(key, text)) {
            return false;
        }
        Parse(text);
        return true;
    }
    ZString text;
    if (!stream->Deserialize(key, text)) {
        return false;
    }
    Parse(std::string_view(text.data(), text.size()));
    return true;
}

bool ZCommEndpoint::Serialize(const std::shared_ptr<ZCommStream>& stream, const char* key) const {
    if (!stream) {
        return false;
    }
    if (ZBinaryCommStream* binary = AsBinary(stream.get())) {
        char text[kTextRoom];
        if (const std::size_t length = TextInto(text, sizeof text)) {
            return binary->SerializeView(key, std::string_view(text, length));
        }
    }
    return stream->Serialize(key, AsString(), false);
}

bool operator<(const ZCommEndpoint& a, const ZCommEndpoint& b) {
    return std::tie(a.m_type, a.m_uid, a.m_name) < std::tie(b.m_type, b.m_uid, b.m_name);
}
