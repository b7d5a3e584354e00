#include "ZMessages/ZMessage.h"

#include "ZMessages/ZCommStream.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"

namespace {
constexpr std::int32_t kDefaultPriority = 5000;
}

// Endpoint, sender, sequence, delivery data and flags of a message.
struct ZMessage::ZEnvelope {
    ZCommEndpoint m_endpoint;
    ZCommEndpoint m_source;
    std::uint32_t m_sequence = 0;
    std::int32_t m_deliveryInfo = 0;
    ZMessageFlags m_flags;
};

ZMessage::ZMessage() : m_priority(kDefaultPriority) {}

ZMessage::ZMessage(const ZMessage& other) : ZCommStreamObject(other), m_priority(other.m_priority) {
    std::lock_guard<std::mutex> lock(other.m_mutex);
    m_pEnvelope = other.CopyEnvelope();
}

ZMessage& ZMessage::operator=(const ZMessage& other) {
    if (this == &other) {
        return *this;
    }
    ZCommStreamObject::operator=(other);
    m_priority = other.m_priority;
    ZEnvelopePtr envelope;
    {
        std::lock_guard<std::mutex> lock(other.m_mutex);
        envelope = other.CopyEnvelope();
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pEnvelope.swap(envelope);
    return *this;
}

ZMessage::ZMessage(ZMessage&& other) noexcept
    : ZCommStreamObject(std::move(other)),
      m_priority(other.m_priority),
      m_pEnvelope(std::move(other.m_pEnvelope)) {}

ZMessage& ZMessage::operator=(ZMessage&& other) noexcept {
    if (this != &other) {
        ZCommStreamObject::operator=(std::move(other));
        m_priority = other.m_priority;
        m_pEnvelope = std::move(other.m_pEnvelope);
    }
    return *this;
}

ZMessage::ZEnvelopePtr ZMessage::CopyEnvelope() const {
    return m_pEnvelope ? ZEnvelopePtr(ZShared::ZNewInSBA<ZEnvelope>(*m_pEnvelope)) : nullptr;
}

ZMessage::ZEnvelope& ZMessage::Envelope() {
    if (!m_pEnvelope) {
        m_pEnvelope.reset(ZShared::ZNewInSBA<ZEnvelope>());
    }
    return *m_pEnvelope;
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
    std::int32_t deliveryInfo = 0;
    ZMessageFlags flags;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_pEnvelope) {
            source = m_pEnvelope->m_source;
            deliveryInfo = m_pEnvelope->m_deliveryInfo;
            flags = m_pEnvelope->m_flags;
        }
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
    ZEnvelopePtr envelope;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        envelope = CopyEnvelope();
    }
    std::lock_guard<std::mutex> lock(target->m_mutex);
    target->m_pEnvelope.swap(envelope);
    return true;
}

namespace {
// Whether a value is the field's default: setting it on a message without an envelope changes
// nothing, so no envelope is made for it (a clone copies its original's sender, often none).
bool IsDefault(const ZCommEndpoint& endpoint) {
    return endpoint.m_type == EP_NULL && endpoint.m_uid.IsEmpty() && endpoint.m_name.empty() &&
           endpoint.m_qos == 0 && endpoint.m_userData == 0;
}
bool IsDefault(ZMessageFlags flags) {
    return !flags.m_bResponseRequested && !flags.m_bNotification && !flags.m_bRetained;
}
template <class T>
bool IsDefault(T value) {
    return value == T();
}
}  // namespace

// Reads give the default while no envelope exists; writes other than of a default make it.
#define Z_GUARDED_ACCESSORS(Type, Name, member, defaultValue)    \
    Type ZMessage::Get##Name() const {                           \
        std::lock_guard<std::mutex> lock(m_mutex);               \
        return m_pEnvelope ? m_pEnvelope->member : defaultValue; \
    }                                                            \
    void ZMessage::Set##Name(Type value) {                       \
        std::lock_guard<std::mutex> lock(m_mutex);               \
        if (m_pEnvelope || !IsDefault(value)) {                  \
            Envelope().member = value;                           \
        }                                                        \
    }

ZCommEndpoint ZMessage::GetEndpoint() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_pEnvelope ? m_pEnvelope->m_endpoint : ZCommEndpoint();
}
void ZMessage::SetEndpoint(const ZCommEndpoint& endpoint) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_pEnvelope || !IsDefault(endpoint)) {
        Envelope().m_endpoint = endpoint;
    }
}
ZCommEndpoint ZMessage::GetSource() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_pEnvelope ? m_pEnvelope->m_source : ZCommEndpoint();
}
void ZMessage::SetSource(const ZCommEndpoint& source) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_pEnvelope || !IsDefault(source)) {
        Envelope().m_source = source;
    }
}
Z_GUARDED_ACCESSORS(std::uint32_t, Sequence, m_sequence, 0u)
Z_GUARDED_ACCESSORS(std::int32_t, DeliveryInfo, m_deliveryInfo, 0)
Z_GUARDED_ACCESSORS(ZMessageFlags, Flags, m_flags, ZMessageFlags())
Z_GUARDED_ACCESSORS(bool, ResponseRequested, m_flags.m_bResponseRequested, false)
Z_GUARDED_ACCESSORS(bool, Notification, m_flags.m_bNotification, false)
Z_GUARDED_ACCESSORS(bool, Retained, m_flags.m_bRetained, false)
