#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ZMessageLog.h"
#include "ZModuleLoader.h"

class ZNodeComm;
class ZNodeManagerConfig;

// The znodemanager program: loads the modules a configuration names, runs its node manager on the
// transport its "TransportURL" names (in-process when empty, MQTT for mqtt:// and mqtts://) until
// SIGINT or SIGTERM, then stops it and unloads the modules. Problems with the configuration or the
// modules end it with exit code 2 and one line on stderr for each; warnings about the configuration
// are told the same way and the host starts.
class ZNodeManagerHost {
public:
    struct ZOptions {
        std::string m_configPath;
        std::vector<std::string> m_modules;  // loaded after the configuration's own
        bool m_bListClasses = false;
        bool m_bVersion = false;
        bool m_bCheck = false;         // check the configuration, start nothing
        std::int32_t m_logLevel = -1;  // below 0: as the configuration's ZLogParams say
        std::string m_dumpPath;  // the hosted discovery node's graph, written before the manager leaves it
        std::string m_transportURL;  // over the configuration's "TransportURL"
    };

    static constexpr int kExitBadInput = 2;
    static constexpr int kExitFailed = 1;
    // Another process of the same node manager took over: this one stopped without a goodbye.
    static constexpr int kExitSuperseded = 3;

    explicit ZNodeManagerHost(ZOptions options);
    ~ZNodeManagerHost();
    ZNodeManagerHost(const ZNodeManagerHost&) = delete;
    ZNodeManagerHost& operator=(const ZNodeManagerHost&) = delete;

    // The process's exit code.
    int Run();

private:
    // Prints "znodemanager: <what>" on stderr; returns the exit code to use.
    static int Report(const std::string& what, int exitCode = kExitBadInput);
    bool ReadConfig(std::string& error);
    bool LoadModules(std::string& error);
    bool HostsDiscovery() const;
    int Serve();
    std::shared_ptr<ZNodeComm> MakeTransport(std::string& error) const;

    ZOptions m_options;
    ZModuleLoader m_loader;
    std::shared_ptr<ZNodeManagerConfig> m_pConfig;
    std::int32_t m_logLevel = 0;  // the threshold of the host's own objects
    ZMessageLog m_messageLog;
};
