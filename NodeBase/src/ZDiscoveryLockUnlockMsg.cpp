#include "NodeBase/ZDiscoveryLockUnlockMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZDiscoveryLockUnlockMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("bLock", m_bLock, false);
    return true;
}

bool ZDiscoveryLockUnlockMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("bLock", m_bLock);
    return true;
}
