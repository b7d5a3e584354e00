#include "NodeComm/ZNodeComm.h"

#include "NodeComm/ZCommManager.h"
#include "ZMessages/ZCommStream.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZMakeShared.h"

ZNodeComm::ZNodeComm() : m_pCommManager(ZMakeShared<ZCommManager>()) {}

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

bool ZNodeComm::SetLastWill(const ZCommEndpoint&, const std::shared_ptr<ZMessage>&) {
    return false;
}

ZNodeComm::Delivery ZNodeComm::StampingContact(Delivery delivery) const {
    return [registry = m_pCommManager, delivery = std::move(delivery)](
               const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) {
        if (registry && message) {
            registry->NoteContactFrom(message->GetSource().m_uid);
        }
        delivery(endpoint, message);
    };
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
