#include "NodeBase/ZDiscoveryManagerMsg.h"

#include "ZMessages/ZCommStream.h"

namespace {
// The version texts form one child object, keyed like the struct's members.
void SerializeVersionInfo(const std::shared_ptr<ZCommStream>& stream, const char* key,
                          const SystemVersionInfo& info) {
    auto child = stream->CreateChild();
    if (!child) {
        return;
    }
    child->Serialize("systemVersion", info.m_systemVersion, false);
    child->Serialize("frameworkVersion", info.m_frameworkVersion, false);
    child->Serialize("moduleVersion", info.m_moduleVersion, false);
    child->Serialize("osVersion", info.m_osVersion, false);
    child->Serialize("hardwareVersion", info.m_hardwareVersion, false);
    child->Serialize("buildInfo", info.m_buildInfo, false);
    stream->SerializeChild(key, child);
}

void DeserializeVersionInfo(const std::shared_ptr<ZCommStream>& stream, const char* key,
                            SystemVersionInfo& info) {
    auto child = stream->CreateChild();
    if (!child || !stream->DeserializeChild(key, child)) {
        return;
    }
    child->Deserialize("systemVersion", info.m_systemVersion);
    child->Deserialize("frameworkVersion", info.m_frameworkVersion);
    child->Deserialize("moduleVersion", info.m_moduleVersion);
    child->Deserialize("osVersion", info.m_osVersion);
    child->Deserialize("hardwareVersion", info.m_hardwareVersion);
    child->Deserialize("buildInfo", info.m_buildInfo);
}
}  // namespace

bool ZDiscoveryManagerMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("nodeManagerUID", m_nodeManagerUID.AsString(), false);
    stream->Serialize("group", m_group, false);
    stream->Serialize("hostName", m_hostName, false);
    stream->Serialize("processID", m_processID, false);
    SerializeVersionInfo(stream, "versionInfo", m_versionInfo);
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
    DeserializeVersionInfo(stream, "versionInfo", m_versionInfo);
    stream->Deserialize("remoteTimeUs", m_remoteTimeUs);
    stream->Deserialize("sessionID", m_sessionID);
    stream->Deserialize("bAlreadyRegistered", m_bAlreadyRegistered);
    stream->Deserialize("bRegistered", m_bRegistered);
    stream->Deserialize("startID", m_startID);
    stream->Deserialize("bSuperseded", m_bSuperseded);
    stream->Deserialize("NodeManagerTimeoutSecs", m_nodeManagerTimeoutSecs);
    return true;
}
