#include "NodeBase/ZDiscoveryManagerMsg.h"

#include "ZMessages/ZCommStream.h"
#include "ZVersionInfoStream.h"

bool ZDiscoveryManagerMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("nodeManagerUID", m_nodeManagerUID.AsString(), false);
    stream->Serialize("group", m_group, false);
    stream->Serialize("hostName", m_hostName, false);
    stream->Serialize("processID", m_processID, false);
    ZVersionInfoStream::Write(stream, "versionInfo", m_versionInfo);
    stream->Serialize("remoteTimeUs", m_remoteTimeUs, false);
    stream->Serialize("sessionID", m_sessionID, false);
    stream->Serialize("bAlreadyRegistered", m_bAlreadyRegistered, false);
    stream->Serialize("bRegistered", m_bRegistered, false);
    if (m_startID != 0) {
        stream->Serialize("startID", m_startID, false);
    }
    if (m_bSuperseded) {
        stream->Serialize("bSuperseded", m_bSuperseded, false);
    }
    if (m_nodeManagerTimeoutSecs != 0) {
        stream->Serialize("NodeManagerTimeoutSecs", m_nodeManagerTimeoutSecs, false);
    }
    return true;
}

bool ZDiscoveryManagerMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (ZString text; stream->Deserialize("nodeManagerUID", text)) {
        m_nodeManagerUID = ZNodeUID(text);
    }
    stream->Deserialize("group", m_group);
    stream->Deserialize("hostName", m_hostName);
    stream->Deserialize("processID", m_processID);
    ZVersionInfoStream::Read(stream, "versionInfo", m_versionInfo);
    stream->Deserialize("remoteTimeUs", m_remoteTimeUs);
    stream->Deserialize("sessionID", m_sessionID);
    stream->Deserialize("bAlreadyRegistered", m_bAlreadyRegistered);
    stream->Deserialize("bRegistered", m_bRegistered);
    stream->Deserialize("startID", m_startID);
    stream->Deserialize("bSuperseded", m_bSuperseded);
    stream->Deserialize("NodeManagerTimeoutSecs", m_nodeManagerTimeoutSecs);
    return true;
}
