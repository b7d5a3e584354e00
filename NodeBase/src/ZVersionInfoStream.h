#pragma once

#include <memory>

#include "NodeComm/SystemVersionInfo.h"
#include "ZMessages/ZCommStream.h"

// A node manager's version texts as one child object keyed like the struct's members, as the
// registration and the node-manager lookup carry them.
namespace ZVersionInfoStream {

inline void Write(const std::shared_ptr<ZCommStream>& stream, const char* key,
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

inline void Read(const std::shared_ptr<ZCommStream>& stream, const char* key, SystemVersionInfo& info) {
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

}  // namespace ZVersionInfoStream
