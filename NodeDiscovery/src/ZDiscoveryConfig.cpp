#include "NodeDiscovery/ZDiscoveryConfig.h"

#include "ZMessages/ZCommStream.h"

bool ZDiscoveryConfig::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("TopoMonitorIntervalSecs", m_topoMonitorIntervalSecs, false);
    return true;
}

bool ZDiscoveryConfig::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("TopoMonitorIntervalSecs", m_topoMonitorIntervalSecs);
    return true;
}
