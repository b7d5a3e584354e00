#include "NodeBase/ZDiscoveryNodeManagersMsg.h"

#include "ZMessages/ZCommStream.h"
#include "ZRecordArray.h"
#include "ZVersionInfoStream.h"

void ZNodeManagerRecord::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("nodeManagerUID", m_nodeManagerUID.AsString(), false);
    stream->Serialize("group", m_group, false);
    stream->Serialize("hostName", m_hostName, false);
    stream->Serialize("processID", m_processID, false);
    ZVersionInfoStream::Write(stream, "versionInfo", m_versionInfo);
    stream->Serialize("sessionID", m_sessionID, false);
    stream->Serialize("startID", m_startID, false);
    stream->Serialize("registeredTimeUs", m_registeredTimeUs, false);
    stream->Serialize("ageMs", m_ageMs, false);
    stream->Serialize("silentMs", m_silentMs, false);
    stream->Serialize("deadTimeLeftMs", m_deadTimeLeftMs, false);
    stream->Serialize("bExempt", m_bExempt, false);
}

void ZNodeManagerRecord::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (ZString text; stream->Deserialize("nodeManagerUID", text)) {
        m_nodeManagerUID = ZNodeUID(text);
    }
    stream->Deserialize("group", m_group);
    stream->Deserialize("hostName", m_hostName);
    stream->Deserialize("processID", m_processID);
    ZVersionInfoStream::Read(stream, "versionInfo", m_versionInfo);
    stream->Deserialize("sessionID", m_sessionID);
    stream->Deserialize("startID", m_startID);
    stream->Deserialize("registeredTimeUs", m_registeredTimeUs);
    stream->Deserialize("ageMs", m_ageMs);
    stream->Deserialize("silentMs", m_silentMs);
    stream->Deserialize("deadTimeLeftMs", m_deadTimeLeftMs);
    stream->Deserialize("bExempt", m_bExempt);
}

bool ZDiscoveryNodeManagersMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("timeUs", m_timeUs, false);
    stream->Serialize("deadTimeSecs", m_deadTimeSecs, false);
    stream->Serialize("lockHolderUID", m_lockHolderUID.AsString(), false);
    stream->Serialize("lockedSinceTimeUs", m_lockedSinceTimeUs, false);
    stream->Serialize("lockedForMs", m_lockedForMs, false);
    ZRecordArray::Write(stream, "nodeManagers", m_nodeManagers);
    return true;
}

bool ZDiscoveryNodeManagersMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("timeUs", m_timeUs);
    stream->Deserialize("deadTimeSecs", m_deadTimeSecs);
    if (ZString text; stream->Deserialize("lockHolderUID", text)) {
        m_lockHolderUID = ZNodeUID(text);
    }
    stream->Deserialize("lockedSinceTimeUs", m_lockedSinceTimeUs);
    stream->Deserialize("lockedForMs", m_lockedForMs);
    ZRecordArray::Read(stream, "nodeManagers", nullptr, m_nodeManagers);
    return true;
}

const ZNodeManagerRecord* ZDiscoveryNodeManagersMsg::Find(const ZNodeUID& uid) const {
    for (const auto& record : m_nodeManagers) {
        if (record.m_nodeManagerUID == uid) {
            return &record;
        }
    }
    return nullptr;
}
