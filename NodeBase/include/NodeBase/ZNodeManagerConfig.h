#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ZCoreConfigs/ZConfig.h"
#include "ZMessages/ZCommEndpoint.h"
#include "ZShared/ZAllocator.h"
#include "ZShared/ZLog.h"
#include "ZShared/ZNodeUID.h"

class ZCoreConfigParams;

// A node manager's configuration file: who it is, which modules it loads, which nodes it hosts and
// which connections it records. Reading checks the result and keeps the first problem found, so a
// host can refuse a bad file with one message naming the file and the problem.
class Z_EXPORT ZNodeManagerConfig : public ZConfig {
    Z_FACTORY_CLASS(ZNodeManagerConfig)

public:
    // One node the manager creates by class name.
    struct ZHostedNode {
        ZString m_className;
        ZString m_name;
        ZNodeUID m_uid;  // empty: the discovery node numbers it
        ZString m_group;
        std::shared_ptr<ZCoreConfigParams> m_pConfig;
    };
    // One connection the manager records in the topology once its nodes are registered.
    struct ZConnection {
        ZCommEndpoint m_from;
        ZCommEndpoint m_to;
        ZString m_fromGroup;
        ZString m_toGroup;
    };

    static constexpr const char* kDefaultDiscoveryUID = "ZNodeDiscovery1";
    static constexpr std::int32_t kDefaultDeadTimeSecs = 10;

    ZNodeManagerConfig();
    ~ZNodeManagerConfig() override;

    // "UID", "Group", "Modules", "TransportURL", "DiscoveryUID", "Nodes", "Connections", "Config".
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    // Reads the keys (a list present in the stream replaces the one held), then checks the result:
    // false, with GetProblem, when something is missing or malformed.
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    // Reads the file; relative module paths become absolute against the file's folder, also in a
    // file refused for another problem, so that a host can still load them. False with
    // GetError ("<file>: <problem>") for an unreadable, malformed or invalid file. Nothing is
    // logged below m_logLevel, so a host that reports GetError itself can keep the reading quiet.
    bool Load(const char* path) override;

    const std::string& GetProblem() const { return m_problem; }
    const std::string& GetError() const { return m_error; }
    const std::string& GetPath() const { return m_path; }

    // NodeManagerTimeoutSecs of Config's ZSystemParams; kDefaultDeadTimeSecs without one.
    std::int32_t GetDeadTimeSecs() const;

    // A module's plug-in name: its file name without a "lib" prefix and without the extension
    // ("/opt/z/libNodeDiscovery.so.2" gives "NodeDiscovery").
    static ZString PluginNameOf(const ZString& modulePath);
    // UIDs travel in endpoint texts and broker topics, so they may not hold '/', '+', '#' or control
    // characters (ZCommEndpoint::IsTopicSafeUID); empty passes, as "not given".
    static bool IsValidUID(const ZNodeUID& uid);
    // A complete endpoint text: a known kind and a UID ("status/Radar1/scan").
    static bool ParseEndpoint(const ZString& text, ZCommEndpoint& endpoint);

    ZNodeUID m_uid;
    ZString m_group;
    ZStringList m_modules;
    ZString m_transportURL;
    ZNodeUID m_discoveryUID;
    ZVector<ZHostedNode> m_nodes;
    ZVector<ZConnection> m_connections;
    std::shared_ptr<ZCoreConfigParams> m_pConfig;

    const char* m_logSource = "ZNodeManagerConfig";
    std::int32_t m_logLevel = LOGLEVEL_WARNING;

private:
    bool ReadNodes(const std::shared_ptr<ZCommStream>& stream);
    bool ReadConnections(const std::shared_ptr<ZCommStream>& stream);
    bool ReadConfigSet(const std::shared_ptr<ZCommStream>& stream, const char* key, const std::string& owner,
                       std::shared_ptr<ZCoreConfigParams>& target);
    bool Validate();
    bool Fail(const std::string& problem);

    std::string m_problem;
    std::string m_error;
    std::string m_path;
};
