#include "ZNodeManagerHost.h"

#include <chrono>
#include <cstdio>
#include <random>

#include "NodeBase/ZNodeManager.h"
#include "NodeBase/ZNodeManagerConfig.h"
#include "NodeBase/ZTopologyMsg.h"
#include "NodeComm/ZNodeComm.h"
#include "NodeComm/ZTransportFactory.h"
#include "ZConfigChecker.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZHostLogging.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZLog.h"
#include "ZShared/ZMakeShared.h"
#include "ZSignalWaiter.h"
#include "ZTopologyRequest.h"

namespace {

constexpr const char* kDiscoveryClass = "ZNodeDiscovery";
constexpr std::chrono::seconds kTopologyTimeout{5};
// What the manager's pump hands the waiting main thread when a newer process replaced it.
constexpr unsigned char kWakeSuperseded = 255;
// ... and when the broker turned it away for good.
constexpr unsigned char kWakeRefused = 254;

// The process's identity on a broker: the node manager's UID and something of this process's own.
// Two processes under one UID (a frozen one and its replacement) must not take the connection from
// each other, or each one's last will would go out while the other lives.
std::string ClientID(const ZNodeUID& uid) {
    std::random_device device;
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, "-%08x", static_cast<unsigned>(device()));
    return std::string(uid.c_str()) + suffix;
}

bool IsKindOf(const std::string& className, const char* baseClassName) {
    return ZShared::CID::IsKindOf(ZShared::ZFactory::GetClassID(baseClassName),
                                  ZShared::ZFactory::GetClassID(className.c_str()));
}

}  // namespace

ZNodeManagerHost::ZNodeManagerHost(ZOptions options) : m_options(std::move(options)) {}

ZNodeManagerHost::~ZNodeManagerHost() = default;

int ZNodeManagerHost::Report(const std::string& what, int exitCode) {
    std::fprintf(stderr, "znodemanager: %s\n", what.c_str());
    std::fflush(stderr);
    return exitCode;
}

bool ZNodeManagerHost::ReadConfig(std::string& error) {
    // Kept also when refused: its module list is still what the file names. Quiet, since the host
    // tells the problem itself.
    m_pConfig = ZMakeShared<ZNodeManagerConfig>();
    m_pConfig->m_logLevel = LOGLEVEL_NONE;
    if (!m_pConfig->Load(m_options.m_configPath.c_str())) {
        error = m_pConfig->GetError();
        return false;
    }
    return true;
}

bool ZNodeManagerHost::LoadModules(std::string& error) {
    std::vector<std::string> paths;
    if (m_pConfig) {
        for (const auto& module : m_pConfig->m_modules) {
            paths.push_back(ToStdString(module));
        }
    }
    paths.insert(paths.end(), m_options.m_modules.begin(), m_options.m_modules.end());
    for (const auto& path : paths) {
        if (!m_loader.Load(path)) {
            error = m_loader.GetError();
            return false;
        }
    }
    return true;
}

bool ZNodeManagerHost::HostsDiscovery() const {
    for (const auto& node : m_pConfig->m_nodes) {
        if (IsKindOf(ToStdString(node.m_className), kDiscoveryClass)) {
            return true;
        }
    }
    return false;
}

int ZNodeManagerHost::Run() {
    ZHostLogging logging;
    std::string error;
    logging.Configure(nullptr, m_options.m_logLevel, error);
    logging.Install();
    ZConfigChecker checker;
    if (!m_options.m_configPath.empty()) {
        if (!checker.Read(m_options.m_configPath)) {
            return Report(m_options.m_configPath + ": " + checker.GetError());
        }
        // Read first for the module list only: what is wrong with the file is told once the modules
        // are loaded, since the classes they carry are unknown until then.
        ReadConfig(error);
    }
    if (!LoadModules(error)) {
        return Report(error);
    }
    if (m_options.m_bVersion) {
        std::printf("znodemanager %s\n", ZNodeManager::kFrameworkVersion);
        for (const auto& module : m_loader.GetModules()) {
            std::printf("%s: %s (%s)\n", module.m_path.c_str(), module.m_versionTag.c_str(),
                        module.m_versionHash.c_str());
        }
        return 0;
    }
    if (m_options.m_bListClasses) {
        for (const auto& name : ZShared::ZFactory::GetClassNames()) {
            std::printf("%s\n", name.c_str());
        }
        return 0;
    }
    const auto findings = checker.Check();
    for (const auto& finding : findings) {
        Report(m_options.m_configPath + ": " + ZConfigChecker::Text(finding));
    }
    if (ZConfigChecker::HasErrors(findings)) {
        return kExitBadInput;
    }
    // Again, now that the records of module classes can be created.
    if (!ReadConfig(error)) {
        return Report(error);
    }
    if (!m_options.m_dumpPath.empty() && !HostsDiscovery()) {
        return Report(m_options.m_configPath + ": --dump-topology needs the discovery node hosted here");
    }
    if (!logging.Configure(m_pConfig->m_pConfig, m_options.m_logLevel, error) ||
        !m_messageLog.Configure(m_pConfig->m_pConfig, error)) {
        return Report(m_options.m_configPath + ": " + error);
    }
    if (m_options.m_bCheck) {
        const std::size_t warnings = findings.size();
        std::printf(
            "%s: OK%s\n", m_options.m_configPath.c_str(),
            warnings == 0
                ? ""
                : (" (" + std::to_string(warnings) + (warnings == 1 ? " warning)" : " warnings)")).c_str());
        return 0;
    }
    logging.Install();
    m_logLevel = logging.GetObjectThreshold();
    const int exitCode = Serve();
    m_loader.UnloadAll();
    return exitCode;
}

int ZNodeManagerHost::Serve() {
    auto manager = ZMakeShared<ZNodeManager>(m_pConfig->m_uid.c_str());
    manager->m_logLevel = m_logLevel;
    if (!manager->Load(m_pConfig)) {
        return Report(m_options.m_configPath + ": the node manager cannot create its nodes");
    }
    ZSignalWaiter signals;
    if (!signals.IsReady()) {
        return Report("cannot wait for SIGINT and SIGTERM", kExitFailed);
    }
    std::string error;
    const auto comm = MakeTransport(error);
    if (!comm) {
        return Report(m_options.m_configPath + ": " + error);
    }
    m_messageLog.Attach(*comm);
    comm->SetOnRefused([&signals](const std::string&) { signals.Wake(kWakeRefused); });
    if (!manager->Start(comm)) {
        comm->Disconnect();
        if (const std::string refusal = comm->GetRefusal(); !refusal.empty()) {
            return Report(m_options.m_configPath + ": " + refusal);
        }
        return Report(m_options.m_configPath + ": the node manager did not start", kExitFailed);
    }
    manager->SetOnSuperseded([&signals] { signals.Wake(kWakeSuperseded); });
    const int signal = signals.Wait();
    comm->SetOnRefused(nullptr);
    if (signal == kWakeRefused) {
        // Credentials are configuration: asking again with the same ones would only be refused again.
        manager->Halt();
        comm->Disconnect();
        return Report(m_options.m_configPath + ": " + comm->GetRefusal());
    }
    if (signal == kWakeSuperseded) {
        // A goodbye would take the newer process out, and so would the will of an unclean end.
        manager->Halt();
        comm->Disconnect();
        return Report(m_options.m_configPath + ": node manager <" + manager->GetUID().c_str() +
                          "> was replaced by a newer process of it; stopped",
                      kExitSuperseded);
    }
    ZLOG_WITH(m_logLevel, "znodemanager", LOGLEVEL_PROGRESS, "Signal %d: stopping node manager <%s>", signal,
              manager->GetUID().c_str());
    int exitCode = 0;
    if (!m_options.m_dumpPath.empty()) {
        const auto topology =
            ZTopologyRequest::Fetch(comm, m_pConfig->m_discoveryUID, manager->GetUID(), kTopologyTimeout);
        if (!topology || !ZTopologyRequest::WriteJSON(*topology, m_options.m_dumpPath)) {
            exitCode = Report(m_options.m_dumpPath + ": topology not written", kExitFailed);
        }
    }
    manager->Stop();
    // After the manager's goodbye, so that it reaches the broker; a clean disconnect sends no will.
    comm->Disconnect();
    return exitCode;
}

std::shared_ptr<ZNodeComm> ZNodeManagerHost::MakeTransport(std::string& error) const {
    // The configuration set's parameters, if it has them, with the URL from the command line or the
    // configuration's own "TransportURL" over theirs.
    ZCommsParams params;
    if (m_pConfig->m_pConfig) {
        if (const auto configured = m_pConfig->m_pConfig->GetConfig<ZCommsParams>()) {
            params = *configured;
        }
    }
    if (!m_pConfig->m_transportURL.empty()) {
        params.TransportURL = m_pConfig->m_transportURL;
    }
    if (!m_options.m_transportURL.empty()) {
        params.TransportURL = m_options.m_transportURL.c_str();
    }
    return ZTransportFactory::Make(params, ClientID(m_pConfig->m_uid), error);
}
