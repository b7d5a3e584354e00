#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "ZMessages/ZCommEndpoint.h"
#include "ZMessages/ZCommStreamObject.h"
#include "ZShared/ZAllocator.h"
#include "ZShared/ZMakeShared.h"

// Small per-message flags, copied as one word.
struct ZMessageFlags {
    bool m_bResponseRequested : 1;  // the sender wants an answer
    bool m_bNotification : 1;       // a status notification rather than a request
    bool m_bRetained : 1;           // a transport may keep it for late subscribers
    ZMessageFlags() : m_bResponseRequested(false), m_bNotification(false), m_bRetained(false) {}
};

// Base of every framework message. The fields that the runtime shares between threads (endpoint,
// sender, sequence, delivery data and flags) are guarded by the message's own mutex and reached
// through the accessors; m_priority is not guarded. The base serializes no keys of its own: the
// runtime carries its fields beside the body (SerializeMessage).
class Z_EXPORT ZMessage : public ZCommStreamObject {
    Z_FACTORY_CLASS(ZMessage)

public:
    ZMessage();
    // Copies take the source's guarded fields under its lock and get a mutex of their own.
    ZMessage(const ZMessage& other);
    ZMessage& operator=(const ZMessage& other);
    // Moving takes no lock: a message being moved belongs to the mover alone (a vector growing or
    // compacting its records), and no other thread may reach it meanwhile.
    ZMessage(ZMessage&& other) noexcept;
    ZMessage& operator=(ZMessage&& other) noexcept;
    ~ZMessage() override;

    virtual bool ResolvePaths(const ZMap<ZString, ZString>& variables);
    virtual std::int32_t GetDefaultPriority() const;
    // Where an answer to this message goes: the sender's node and name, kind EP_RESPONSE.
    virtual ZCommEndpoint GetResponseEndpoint() const;
    // Where progress about it goes: the sender's node, kind EP_PROGRESS, named after this class.
    virtual ZCommEndpoint GetProgressEndpoint() const;
    // Writes the message ("class" and its keys) to the stream and the stream to the named file.
    virtual bool Save(const char* path, const std::shared_ptr<ZCommStream>& stream) const;
    virtual bool Save(const char* path, const std::shared_ptr<ZCommStream>& stream, bool withEnvelope) const;
    // Reads the message's keys from a JSON file.
    virtual bool Load(const char* path);
    // The message with its envelope: "class", "source", "deliveryInfo", "responseRequested",
    // "notification", "priority" and the message's own keys as the child "body".
    virtual bool SerializeMessage(const std::shared_ptr<ZCommStream>& stream) const;
    virtual bool IsCloneable() const;
    // Copies endpoint, sender, sequence, delivery data and flags into the target, never holding
    // both messages' locks at once.
    virtual bool CloneDataMembers(std::shared_ptr<ZMessage>& target) const;

    ZCommEndpoint GetEndpoint() const;
    void SetEndpoint(const ZCommEndpoint& endpoint);
    ZCommEndpoint GetSource() const;
    void SetSource(const ZCommEndpoint& source);
    std::uint32_t GetSequence() const;
    void SetSequence(std::uint32_t sequence);
    // 0 on a first delivery; a sender that repeats a message sets it to the attempt number.
    std::int32_t GetDeliveryInfo() const;
    void SetDeliveryInfo(std::int32_t deliveryInfo);
    ZMessageFlags GetFlags() const;
    void SetFlags(ZMessageFlags flags);
    bool GetResponseRequested() const;
    void SetResponseRequested(bool requested);
    bool GetNotification() const;
    void SetNotification(bool notification);
    bool GetRetained() const;
    void SetRetained(bool retained);

    std::int32_t m_priority;
    mutable std::mutex m_mutex;

private:
    struct ZEnvelope;
    using ZEnvelopePtr = ZShared::ZUniquePtr<ZEnvelope>;
    // A copy of the envelope, null when there is none; the caller holds m_mutex.
    ZEnvelopePtr CopyEnvelope() const;
    // The envelope to change, made on first use; the caller holds m_mutex.
    ZEnvelope& Envelope();

    // The guarded fields live apart and are made when one is first set: records of a topology are
    // messages too, never set them, and are made, moved and freed by the ten thousand. Null means
    // every field has its default.
    ZEnvelopePtr m_pEnvelope;
};
