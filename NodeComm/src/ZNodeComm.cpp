#include "NodeComm/ZNodeComm.h"

#include <atomic>
#include <mutex>

#include "NodeComm/ZCommManager.h"
#include "ZMessages/ZCommStream.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZMakeShared.h"

// Shared with every delivery wrapper, so that a tap set after a subscription still sees its messages.
// The flag spares transports without a tap the lock.
struct ZNodeComm::ZTapSlot {
    std::atomic<bool> m_bSet{false};
    std::mutex m_mutex;
    MessageTap m_tap;

    void Show(bool bSent, const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) {
        if (!m_bSet.load(std::memory_order_acquire) || !message) {
            return;
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_tap) {
            m_tap(bSent, endpoint, message);
        }
    }
};

ZNodeComm::ZNodeComm() : m_pCommManager(ZMakeShared<ZCommManager>()), m_pTap(std::make_shared<ZTapSlot>()) {}

ZNodeComm::~ZNodeComm() = default;

bool ZNodeComm::Connect() {
    return true;
}

void ZNodeComm::Disconnect() {}

bool ZNodeComm::IsConnected() const {
    return true;
}

std::uint64_t ZNodeComm::GetConnectionCount() const {
    return 1;
}

std::string ZNodeComm::GetRefusal() const {
    return std::string();
}

void ZNodeComm::SetOnRefused(std::function<void(const std::string&)>) {}

std::string ZNodeComm::GetPublicationRefusal() const {
    return std::string();
}

void ZNodeComm::SetOnPublicationRefused(std::function<void(const std::string&)>) {}

bool ZNodeComm::SetLastWill(const ZCommEndpoint&, const std::shared_ptr<ZMessage>&) {
    return false;
}

ZNodeComm::Delivery ZNodeComm::StampingContact(Delivery delivery) const {
    return [registry = m_pCommManager, tap = m_pTap, delivery = std::move(delivery)](
               const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) {
        if (registry && message) {
            registry->NoteContactFrom(message->GetSource().m_uid);
        }
        tap->Show(false, endpoint, message);
        delivery(endpoint, message);
    };
}

void ZNodeComm::SetMessageTap(MessageTap tap) {
    std::lock_guard<std::mutex> lock(m_pTap->m_mutex);
    m_pTap->m_bSet.store(static_cast<bool>(tap), std::memory_order_release);
    m_pTap->m_tap = std::move(tap);
}

void ZNodeComm::TapSent(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) const {
    m_pTap->Show(true, endpoint, message);
}

std::shared_ptr<ZMessage> ZNodeComm::CloneMessage(const std::shared_ptr<ZMessage>& message) {
    if (!message) {
        return nullptr;
    }
    auto made = ZShared::ZFactory::CreateShared("ZBinaryCommStream");
    std::shared_ptr<ZCommStream> stream;
    if (made && ZShared::CID::IsKindOf(ZCommStream::m_cid, made->GetCID())) {
        stream = std::static_pointer_cast<ZCommStream>(made);
    }
    ZShared::ZFactory::Track(stream.get(), "ZBinaryCommStream", ZLOG_FILE, __LINE__, sizeof(ZCommStream));
    if (!stream) {
        return nullptr;
    }
    if (!message->Serialize(stream)) {
        ZLOG(LOGLEVEL_ERROR, "Message failed to serialize!\n");
        return nullptr;
    }
    auto madeCopy = ZShared::ZFactory::CreateShared(message->ClassName());
    std::shared_ptr<ZMessage> copy;
    if (madeCopy && ZShared::CID::IsKindOf(ZMessage::m_cid, madeCopy->GetCID())) {
        copy = std::static_pointer_cast<ZMessage>(madeCopy);
    }
    ZShared::ZFactory::Track(copy.get(), message->ClassName(), ZLOG_FILE, __LINE__, sizeof(ZMessage));
    if (!copy) {
        return nullptr;
    }
    if (!copy->Deserialize(stream)) {
        ZLOG(LOGLEVEL_ERROR, "Message failed to deserialize!\n");
        return nullptr;
    }
    const ZCommEndpoint source = message->GetSource();
    copy->SetSource(source);
    return copy;
}
