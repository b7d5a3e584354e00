#include "ZMessages/ZMessage.h"

#include "ZMessages/ZCommStream.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"

namespace {
constexpr std::int32_t kDefaultPriority = 5000;
}

ZMessage::ZMessage() : m_priority(kDefaultPriority) {}

ZMessage::ZMessage(const ZMessage& other) : ZCommStreamObject(other), m_priority(other.m_priority) {
    std::lock_guard<std::mutex> lock(other.m_mutex);
    m_endpoint = other.m_endpoint;
    m_source = other.m_source;
    m_sequence = other.m_sequence;
    m_deliveryInfo = other.m_deliveryInfo;
    m_flags = other.m_flags;
}

ZMessage& ZMessage::operator=(const ZMessage& other) {
    if (this == &other) {
        return *this;
    }
    ZCommStreamObject::operator=(other);
    m_priority = other.m_priority;
    ZCommEndpoint endpoint, source;
    std::uint32_t sequence;
    std::int32_t deliveryInfo;
    ZMessageFlags flags;
    {
        std::lock_guard<std::mutex> lock(other.m_mutex);
        endpoint = other.m_endpoint;
        source = other.m_source;
        sequence = other.m_sequence;
        deliveryInfo = other.m_deliveryInfo;
        flags = other.m_flags;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_endpoint = std::move(endpoint);
    m_source = std::move(source);
    m_sequence = sequence;
    m_deliveryInfo = deliveryInfo;
    m_flags = flags;
    return *this;
}

ZMessage::ZMessage(ZMessage&& other) noexcept
    : ZCommStreamObject(std::move(other)),
      m_priority(other.m_priority),
      m_endpoint(std::move(other.m_endpoint)),
      m_source(std::move(other.m_source)),
      m_sequence(other.m_sequence),
      m_deliveryInfo(other.m_deliveryInfo),
      m_flags(other.m_flags) {}

ZMessage& ZMessage::operator=(ZMessage&& other) noexcept {
    if (this != &other) {
        ZCommStreamObject::operator=(std::move(other));
        m_priority = other.m_priority;
        m_endpoint = std::move(other.m_endpoint);
        m_source = std::move(other.m_source);
        m_sequence = other.m_sequence;
        m_deliveryInfo = other.m_deliveryInfo;
        m_flags = other.m_flags;
    }
    return *this;
}

ZMessage::~ZMessage() = default;

bool ZMessage::ResolvePaths(const ZMap<ZString, ZString>&) {
    return true;
}

std::int32_t ZMessage::GetDefaultPriority() const {
    return kDefaultPriority;
}

ZCommEndpoint ZMessage::GetResponseEndpoint() const {
    const ZCommEndpoint source = GetSource();
    return ZCommEndpoint(source.m_uid, EP_RESPONSE, source.m_name);
}

ZCommEndpoint ZMessage::GetProgressEndpoint() const {
    const ZCommEndpoint source = GetSource();
    return ZCommEndpoint(source.m_uid, EP_PROGRESS, ClassName());
}

bool ZMessage::Save(const char* path, const std::shared_ptr<ZCommStream>& stream) const {
    return Save(path, stream, false);
}

bool ZMessage::Save(const char* path, const std::shared_ptr<ZCommStream>& stream, bool withEnvelope) const {
    if (!stream) {
        return false;
    }
    const bool written = withEnvelope ? SerializeMessage(stream) : SerializeClass(stream);
    return written && stream->GetDataToFile(path);
}

bool ZMessage::Load(const char* path) {
    auto stream = std::dynamic_pointer_cast<ZCommStream>(ZShared::ZFactory::CreateShared("ZJSONCommStream"));
    if (!stream || !stream->SetDataFromFile(path)) {
        return false;
    }
    return DeserializeClass(stream);
}

bool ZMessage::SerializeMessage(const std::shared_ptr<ZCommStream>& stream) const {
    if (!stream) {
        return false;
    }
    ZCommEndpoint source;
    std::int32_t deliveryInfo;
    ZMessageFlags flags;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        source = m_source;
        deliveryInfo = m_deliveryInfo;
        flags = m_flags;
    }
    auto body = stream->CreateChild();
    if (!body || !Serialize(body)) {
        return false;
    }
    stream->Serialize("class", ClassName(), false);
    stream->Serialize("source", source.AsString(), false);
    stream->Serialize("deliveryInfo", deliveryInfo, false);
    stream->Serialize("responseRequested", static_cast<bool>(flags.m_bResponseRequested), false);
    stream->Serialize("notification", static_cast<bool>(flags.m_bNotification), false);
    stream->Serialize("priority", m_priority, false);
    return stream->SerializeChild("body", body);
}

bool ZMessage::IsCloneable() const {
    return false;
}

bool ZMessage::CloneDataMembers(std::shared_ptr<ZMessage>& target) const {
    if (!target) {
        return false;
    }
    ZCommEndpoint endpoint, source;
    std::uint32_t sequence;
    std::int32_t deliveryInfo;
    ZMessageFlags flags;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        endpoint = m_endpoint;
        source = m_source;
        sequence = m_sequence;
        deliveryInfo = m_deliveryInfo;
        flags = m_flags;
    }
    std::lock_guard<std::mutex> lock(target->m_mutex);
    target->m_endpoint = std::move(endpoint);
    target->m_source = std::move(source);
    target->m_sequence = sequence;
    target->m_deliveryInfo = deliveryInfo;
    target->m_flags = flags;
    return true;
}

#define Z_GUARDED_ACCESSORS(Type, Name, member)    \
    Type ZMessage::Get##Name() const {             \
        std::lock_guard<std::mutex> lock(m_mutex); \
        return member;                             \
    }                                              \
    void ZMessage::Set##Name(Type value) {         \
        std::lock_guard<std::mutex> lock(m_mutex); \
        member = value;                            \
    }

ZCommEndpoint ZMessage::GetEndpoint() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_endpoint;
}
void ZMessage::SetEndpoint(const ZCommEndpoint& endpoint) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_endpoint = endpoint;
}
ZCommEndpoint ZMessage::GetSource() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_source;
}
void ZMessage::SetSource(const ZCommEndpoint& source) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_source = source;
}
Z_GUARDED_ACCESSORS(std::uint32_t, Sequence, m_sequence)
Z_GUARDED_ACCESSORS(std::int32_t, DeliveryInfo, m_deliveryInfo)
Z_GUARDED_ACCESSORS(ZMessageFlags, Flags, m_flags)
Z_GUARDED_ACCESSORS(bool, ResponseRequested, m_flags.m_bResponseRequested)
Z_GUARDED_ACCESSORS(bool, Notification, m_flags.m_bNotification)
