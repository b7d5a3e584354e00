#include "ZCoreConfigs/ZCoreConfigParams.h"

#include "ZMessages/ZCommStream.h"

bool ZCoreConfigParams::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    if (!stream) {
        return false;
    }
    ZVector<std::shared_ptr<ZConfig>> records;
    records.reserve(m_configParams.size());
    for (const auto& entry : m_configParams) {
        records.push_back(entry.second);
    }
    stream->SerializeObjectArray("ConfigParams", records);
    stream->SerializeEnum("DeviceType", m_deviceType);
    stream->SerializeEnum("DeviceModel", m_deviceModel);
    stream->Serialize("VersionTxt", m_versionTxt, false);
    stream->Serialize("ShutdownWatchdogEn", m_shutdownWatchdogEn, false);
    return true;
}

bool ZCoreConfigParams::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (!stream) {
        return false;
    }
    ZVector<std::shared_ptr<ZConfig>> records;
    stream->DeserializeObjectArray("ConfigParams", records);
    for (const auto& record : records) {
        SetConfig(record);
    }
    stream->DeserializeEnum("DeviceType", m_deviceType);
    stream->DeserializeEnum("DeviceModel", m_deviceModel);
    stream->Deserialize("VersionTxt", m_versionTxt);
    stream->Deserialize("ShutdownWatchdogEn", m_shutdownWatchdogEn);
    return true;
}

void ZCoreConfigParams::SetEnvironment(std::shared_ptr<ZEnvironment> environment) {
    ZConfig::SetEnvironment(environment);
    for (const auto& entry : m_configParams) {
        if (entry.second) {
            entry.second->SetEnvironment(environment);
        }
    }
}

bool ZCoreConfigParams::ResolvePaths(const ZMap<ZString, ZString>& variables) {
    for (const auto& entry : m_configParams) {
        if (entry.second) {
            entry.second->ResolvePaths(variables);
        }
    }
    return true;
}

void ZCoreConfigParams::SetConfig(const std::shared_ptr<ZConfig>& config) {
    if (config) {
        m_configParams[static_cast<std::int32_t>(config->GetCID())] = config;
    }
}
