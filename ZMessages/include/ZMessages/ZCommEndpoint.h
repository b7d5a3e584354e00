#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "ZShared/ZAllocator.h"
#include "ZShared/ZEnumNames.h"
#include "ZShared/ZNodeUID.h"

class ZCommStream;

// Channel kinds of an endpoint; the values are fixed.
enum ZEndpointType : std::int32_t {
    EP_NULL = 0,
    EP_CONFIG = 1,
    EP_CONTROL = 2,
    EP_STATUS = 3,
    EP_TELEM = 4,
    EP_RESPONSE = 5,
    EP_PROGRESS = 6,
    EP_DIRECT = 7,
    EP_ACK = 8,
};

Z_ENUM_NAMES(ZEndpointType, {EP_NULL, "null"}, {EP_CONFIG, "config"}, {EP_CONTROL, "control"},
             {EP_STATUS, "status"}, {EP_TELEM, "telem"}, {EP_RESPONSE, "response"}, {EP_PROGRESS, "progress"},
             {EP_DIRECT, "direct"}, {EP_ACK, "ack"});

// Text names of the channel kinds.
class Z_EXPORT ZEndpointTypeConv {
public:
    // The kind named by the text; any other text gives EP_NULL.
    static ZEndpointType StrToEndpointType(std::string_view text);
    // The kind's text; a value outside the table gives "".
    static const char* EndpointTypeToStr(ZEndpointType type);
};

// Address that messages are published to and subscribed on: a node, a channel kind and an optional
// name. Its text form ("control/U/addnode") is also its serialized form and an MQTT topic.
class Z_EXPORT ZCommEndpoint {
public:
    ZCommEndpoint() = default;
    ZCommEndpoint(const ZNodeUID& uid, ZEndpointType type, const ZString& name = ZString())
        : m_uid(uid), m_type(type), m_name(name) {}

    // "null" for EP_NULL; otherwise type "/" UID, then "/" name when the name is not empty.
    ZString AsString() const;
    // The same text into `out`, reusing its storage: for hot paths that look endpoints up by text.
    void AssignText(ZString& out) const;
    // Applies a text form leniently: a text without "/" changes nothing, an unknown kind becomes
    // EP_NULL, a trailing "/" is ignored, and the name keeps any further "/".
    void Parse(std::string_view text);
    // Reads the text form under the key and applies it; false (endpoint unchanged) when absent.
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream, const char* key);
    bool Serialize(const std::shared_ptr<ZCommStream>& stream, const char* key) const;
    // Whether the UID can be one level of a broker topic: not empty, no "/", "+" or "#", no
    // control characters. When it cannot, `why` (if given) says which rule it breaks.
    static bool IsTopicSafeUID(std::string_view uid, std::string* why = nullptr);

    // Same node, kind and name; the two further members take no part.
    friend bool operator==(const ZCommEndpoint& a, const ZCommEndpoint& b) {
        return a.m_type == b.m_type && a.m_uid == b.m_uid && a.m_name == b.m_name;
    }
    friend bool operator!=(const ZCommEndpoint& a, const ZCommEndpoint& b) { return !(a == b); }
    friend Z_EXPORT bool operator<(const ZCommEndpoint& a, const ZCommEndpoint& b);

    ZNodeUID m_uid;
    ZEndpointType m_type = EP_NULL;
    ZString m_name;
    // Delivery quality asked for by a subscriber, and a value the transport may attach; zero in every
    // endpoint that nodes build.
    std::int32_t m_qos = 0;
    std::int64_t m_userData = 0;

private:
    // Writes the text form (see AsString) when it fits; its length, 0 when it does not.
    std::size_t TextInto(char* out, std::size_t room) const;
};
