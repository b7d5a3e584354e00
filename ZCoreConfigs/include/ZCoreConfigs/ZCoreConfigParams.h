#pragma once

#include <cstdint>

#include "ZCoreConfigs/ZConfig.h"
#include "ZShared/CID.h"
#include "ZShared/ZEnumNames.h"

enum ZDeviceType : std::int32_t {
    DEVICE_CART = 0,
    DEVICE_PALM = 1,
};
Z_ENUM_NAMES(ZDeviceType, {DEVICE_CART, "DEVICE_CART"}, {DEVICE_PALM, "DEVICE_PALM"});

enum ZDeviceModel : std::int32_t {
    ModelA = 0,
    ModelB = 1,
    ModelC = 2,
    ModelD = 3,
    ModelE = 4,
    ModelF = 5,
};
Z_ENUM_NAMES(ZDeviceModel, {ModelA, "ModelA"}, {ModelB, "ModelB"}, {ModelC, "ModelC"}, {ModelD, "ModelD"},
             {ModelE, "ModelE"}, {ModelF, "ModelF"});

// A node's or process's configuration set: one record per configuration class, found by class ID,
// with the device's identity and the shutdown-watchdog switch. It hands its environment down to
// every record it holds.
class Z_EXPORT ZCoreConfigParams : public ZConfig {
    Z_FACTORY_CLASS(ZCoreConfigParams)

public:
    ZCoreConfigParams() = default;

    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;
    void SetEnvironment(std::shared_ptr<ZEnvironment> environment) override;
    bool ResolvePaths(const ZMap<ZString, ZString>& variables) override;

    // Stores the record under its own class ID, replacing one of the same class.
    void SetConfig(const std::shared_ptr<ZConfig>& config);
    // The record held under T's class ID when it is a kind of T; null otherwise.
    template <class T>
    std::shared_ptr<T> GetConfig() const {
        const auto found = m_configParams.find(static_cast<std::int32_t>(T::m_cid));
        if (found == m_configParams.end() || !found->second ||
            !ZShared::CID::IsKindOf(T::m_cid, found->second->GetCID())) {
            return nullptr;
        }
        return std::static_pointer_cast<T>(found->second);
    }

    ZMap<std::int32_t, std::shared_ptr<ZConfig>> m_configParams;
    ZDeviceType m_deviceType = DEVICE_CART;
    ZDeviceModel m_deviceModel = ModelA;
    ZString m_versionTxt;
    bool m_shutdownWatchdogEn = true;
};
