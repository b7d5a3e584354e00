#include "NodeBase/ZDiscoveryPluginMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZDiscoveryPluginMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("pluginName", m_pluginName, false);
    return true;
}

bool ZDiscoveryPluginMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("pluginName", m_pluginName);
    return true;
}
