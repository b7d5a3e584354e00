#include "ZTopoCommand.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>

#include "NodeBase/ZDiscoveryFindNodeMsg.h"
#include "NodeBase/ZDiscoveryFindUIDMsg.h"
#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZDiscoveryRequestMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZNodeManager.h"
#include "NodeBase/ZNodeUIDMsg.h"
#include "NodeBase/ZRemovalHistoryMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "NodeBase/ZTopologyMsg.h"
#include "NodeComm/ZBrokerAddress.h"
#include "NodeComm/ZNodeComm.h"
#include "NodeComm/ZNodeCommMQTT.h"
#include "NodeComm/ZTransportFactory.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZManagersReport.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/ZMakeShared.h"
#include "ZTopoManual.h"
#include "ZTopoWatcher.h"
#include "ZTopologyFilter.h"
#include "ZTopologyReport.h"

namespace {

// How often `watch` looks at the stop flag while nothing happens.
constexpr std::chrono::milliseconds kWatchSlice{200};
constexpr const char* kDescription =
    "Shows and steers the topology of a running system through its discovery node.";

volatile std::sig_atomic_t g_stopSignal = 0;

void OnStopSignal(int) {
    g_stopSignal = 1;
}

// SIGINT and SIGTERM only raise the flag while `watch` runs; the previous handlers come back after.
struct ZStopSignals {
    ZStopSignals() {
        g_stopSignal = 0;
        struct sigaction action {};
        action.sa_handler = &OnStopSignal;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &m_oldInterrupt);
        sigaction(SIGTERM, &action, &m_oldTerminate);
    }
    ~ZStopSignals() {
        sigaction(SIGINT, &m_oldInterrupt, nullptr);
        sigaction(SIGTERM, &m_oldTerminate, nullptr);
    }
    ZStopSignals(const ZStopSignals&) = delete;
    ZStopSignals& operator=(const ZStopSignals&) = delete;

    struct sigaction m_oldInterrupt {};
    struct sigaction m_oldTerminate {};
};

constexpr std::int32_t kMaxAnswerBytes = 64 * 1024 * 1024;

std::shared_ptr<ZNodeComm> MakeTransport(const std::string& url, const std::string& clientUID,
                                         std::chrono::milliseconds timeout, std::string& error) {
    auto params = ZMakeShared<ZCommsParams>();
    params->TransportURL = ToZString(url);
    // One attempt, as long as the caller waits for an answer: ztopo is run by people and scripts.
    params->ConnectTryTimeoutSecs = static_cast<float>(timeout.count()) / 1000.0f;
    params->ConnectRetries = 1;
    params->bZCoreBlockUntilConnect = true;
    // ztopo only reads what the discovery node sends, and a whole graph is large: the sender's
    // limit is the one that matters.
    params->nMaxMessageBytes = kMaxAnswerBytes;
    auto comm = ZTransportFactory::Make(*params, clientUID, error);
    if (comm) {
        comm->m_logLevel = 0;  // every failure is ztopo's one line
    }
    // Over MQTT 5 the broker says when its ACL refuses a request, which 3.1.1 drops in silence.
    if (const auto mqtt = std::dynamic_pointer_cast<ZNodeCommMQTT>(comm)) {
        mqtt->UseMQTT5();
    }
    if (comm && !comm->IsConnected() && !comm->Connect()) {
        if (!comm->GetRefusal().empty()) {
            return comm;  // refused for good: the caller says so, apart from an unreachable broker
        }
        error = "no connection within " + std::to_string(timeout.count()) + " ms";
        return nullptr;
    }
    return comm;
}

const ZTopologyNode* NodeOf(const ZTopologyMsg& topology, const std::string& uid) {
    return topology.GetNode(ZNodeUID(uid));
}

bool IsManager(const ZTopologyNode& node) {
    return node.m_uid == node.m_nodeManagerUID;
}

std::string Printed(const nlohmann::ordered_json& document) {
    return document.dump(2) + "\n";
}

std::string LocalTime(std::int64_t timeUs) {
    const auto seconds = static_cast<std::time_t>(timeUs / 1000000);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

}  // namespace

ZTopoCommand::ZTopoCommand(std::ostream& out, std::ostream& err)
    : m_out(out), m_err(err), m_connector(&MakeTransport), m_pOptions(std::make_unique<ZTopoOptions>()) {}

ZTopoCommand::~ZTopoCommand() = default;

std::string ZTopoCommand::ClientUID() {
    char host[HOST_NAME_MAX + 1] = {};
    if (gethostname(host, sizeof host - 1) != 0 || host[0] == '\0') {
        std::snprintf(host, sizeof host, "%s", "localhost");
    }
    std::string uid = std::string("ztopo-") + host + "-" + std::to_string(getpid());
    for (char& c : uid) {
        if (!ZCommEndpoint::IsTopicSafeUID(std::string_view(&c, 1))) {
            c = '_';
        }
    }
    return uid;
}

int ZTopoCommand::Run(const std::vector<std::string>& args) {
    *m_pOptions = ZTopoOptions();
    const ZTopoOptions& options = *m_pOptions;
    CLI::App app{kDescription, "ztopo"};
    m_pOptions->AddTo(app);

    std::vector<const char*> argv;
    for (const auto& arg : args) {
        argv.push_back(arg.c_str());
    }
    try {
        app.parse(static_cast<int>(argv.size()), argv.data());
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e, m_out, m_err) == 0 ? ZTOPO_EXIT_OK : ZTOPO_EXIT_USAGE;
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e, m_out, m_err) == 0 ? ZTOPO_EXIT_OK : ZTOPO_EXIT_USAGE;
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e, m_out, m_err) == 0 ? ZTOPO_EXIT_OK : ZTOPO_EXIT_USAGE;
    } catch (const CLI::Success&) {
        return PrintManual(app);
    } catch (const CLI::ParseError& e) {
        return Usage(app, args, e.what());
    }
    const std::string subcommand = app.get_subcommands().front()->get_name();
    if (options.Format() == ZTopoFormat::NDJSON && subcommand != "watch") {
        m_err << "ztopo: -o ndjson is for watch only; ztopo --help tells more\n";
        return ZTOPO_EXIT_USAGE;
    }

    const std::string clientUID = ClientUID();
    std::string error;
    auto comm = m_connector ? m_connector(options.m_broker, clientUID, options.Timeout(), error) : nullptr;
    if (!comm) {
        m_err << "ztopo: cannot reach the broker <" << ZBrokerAddress::Redact(options.m_broker)
              << ">: " << error << "\n";
        return ZTOPO_EXIT_NO_ANSWER;
    }
    if (const std::string refusal = comm->GetRefusal(); !refusal.empty()) {
        m_err << "ztopo: " << refusal << "\n";
        return ZTOPO_EXIT_DENIED;
    }
    m_pRequest = std::make_unique<ZTopologyRequest>(comm, ZNodeUID(options.m_discovery), ZNodeUID(clientUID));
    m_pRequest->SetStep(m_step);
    const int exitCode = Dispatch(subcommand);
    m_pRequest.reset();
    m_out.flush();
    if (!m_out) {
        m_err << "ztopo: cannot write the answer: " << std::strerror(errno) << "\n";
        return ZTOPO_EXIT_OUTPUT;
    }
    return exitCode;
}

int ZTopoCommand::Usage(const CLI::App& app, const std::vector<std::string>& args,
                        const std::string& what) const {
    // CLI11 finds no subcommand in a word it does not know; say which word that was.
    for (std::size_t i = 1; i < args.size() && app.get_subcommands().empty(); ++i) {
        const std::string& word = args[i];
        if (ZTopoOptions::TakesValue(word)) {
            ++i;
        } else if (!word.empty() && word[0] != '-') {
            m_err << "ztopo: unknown subcommand <" << word << ">; ztopo --help lists them\n";
            return ZTOPO_EXIT_USAGE;
        }
    }
    m_err << "ztopo: " << what << "; ztopo --help tells more\n";
    return ZTOPO_EXIT_USAGE;
}

int ZTopoCommand::Dispatch(const std::string& subcommand) {
    using Handler = int (ZTopoCommand::*)();
    static const struct {
        const char* m_name;
        Handler m_handler;
    } kHandlers[] = {
        {"show", &ZTopoCommand::OnShow},
        {"json", &ZTopoCommand::OnJSON},
        {"dot", &ZTopoCommand::OnDot},
        {"watch", &ZTopoCommand::OnWatch},
        {"find-uid", &ZTopoCommand::OnFindUID},
        {"find-node", &ZTopoCommand::OnFindNode},
        {"master", &ZTopoCommand::OnMaster},
        {"remove", &ZTopoCommand::OnRemove},
        {"history", &ZTopoCommand::OnHistory},
        {"managers", &ZTopoCommand::OnManagers},
        {"lock-status", &ZTopoCommand::OnLockStatus},
        {"describe", &ZTopoCommand::OnDescribe},
    };
    if (subcommand == "lock" || subcommand == "unlock") {
        return OnLocking(subcommand == "lock");
    }
    for (const auto& row : kHandlers) {
        if (subcommand == row.m_name) {
            return (this->*row.m_handler)();
        }
    }
    return ZTOPO_EXIT_USAGE;
}

int ZTopoCommand::NoAnswer(const char* what) const {
    if (const std::string refusal = m_pRequest ? m_pRequest->GetPublicationRefusal() : std::string();
        !refusal.empty()) {
        m_err << "ztopo: " << refusal << "\n";
        return ZTOPO_EXIT_DENIED;
    }
    m_err << "ztopo: no answer to " << what << " from the discovery node <" << m_pOptions->m_discovery
          << "> within " << m_pOptions->m_timeoutSecs << " s (broker <"
          << ZBrokerAddress::Redact(m_pOptions->m_broker) << ">)\n";
    return ZTOPO_EXIT_NO_ANSWER;
}

int ZTopoCommand::Refused(const std::string& why) const {
    // A request the broker did not let through never reached the discovery node: that is the answer.
    if (const std::string refusal = m_pRequest ? m_pRequest->GetPublicationRefusal() : std::string();
        !refusal.empty()) {
        m_err << "ztopo: " << refusal << "\n";
        return ZTOPO_EXIT_DENIED;
    }
    m_err << "ztopo: " << why << "\n";
    return ZTOPO_EXIT_REFUSED;
}

std::shared_ptr<ZTopologyMsg> ZTopoCommand::FetchTopology(int& exitCode) {
    auto topology = m_pRequest->FetchTopology(m_pOptions->Timeout());
    exitCode = topology ? ZTOPO_EXIT_OK : NoAnswer("gettopo");
    return topology;
}

bool ZTopoCommand::IsJSON() const {
    return m_pOptions->Format() == ZTopoFormat::JSON;
}

int ZTopoCommand::PrintManual(const CLI::App& app) {
    const ZTopoManual manual(app);
    if (m_pOptions->m_manual == "man") {
        manual.PrintMan(m_out);
    } else {
        manual.PrintBashCompletion(m_out);
    }
    m_out.flush();
    if (!m_out) {
        m_err << "ztopo: cannot write the answer: " << std::strerror(errno) << "\n";
        return ZTOPO_EXIT_OUTPUT;
    }
    return ZTOPO_EXIT_OK;
}

int ZTopoCommand::OnShow() {
    const ZTopoOptions& options = *m_pOptions;
    int exitCode = ZTOPO_EXIT_OK;
    auto topology = FetchTopology(exitCode);
    if (!topology) {
        return exitCode;
    }
    const ZTopologyFilter filter(options.m_onlyGroup, options.m_onlyClass, options.m_onlyManager);
    if (!filter.IsEmpty()) {
        topology = filter.Apply(*topology);
    }
    if (IsJSON()) {
        m_out << ZTopologyRequest::JSON(*topology) << "\n";
    } else {
        ZTopologyReport(*topology).PrintTree(m_out, options.Format() == ZTopoFormat::WIDE);
    }
    return exitCode;
}

int ZTopoCommand::OnJSON() {
    int exitCode = ZTOPO_EXIT_OK;
    if (const auto topology = FetchTopology(exitCode)) {
        m_out << ZTopologyRequest::JSON(*topology) << "\n";
    }
    return exitCode;
}

int ZTopoCommand::OnDot() {
    int exitCode = ZTOPO_EXIT_OK;
    if (const auto topology = FetchTopology(exitCode)) {
        m_out << (IsJSON() ? ZTopologyRequest::JSON(*topology) + "\n" : ZTopologyReport(*topology).Dot());
    }
    return exitCode;
}

int ZTopoCommand::OnWatch() {
    std::unique_ptr<ZStopSignals> signals;
    StopCheck stop = m_stopCheck;
    if (!stop) {
        signals = std::make_unique<ZStopSignals>();
        stop = [] { return g_stopSignal != 0; };
    }
    ZTopoWatcher watcher(*m_pRequest, m_out, m_pOptions->Timeout());
    watcher.SetFormat(m_pOptions->Format());
    if (!watcher.Start()) {
        return NoAnswer("gettopo");
    }
    while (!stop()) {
        watcher.Update(kWatchSlice);
    }
    return ZTOPO_EXIT_OK;
}

int ZTopoCommand::OnFindUID() {
    const ZTopoOptions& options = *m_pOptions;
    auto request = ZMakeShared<ZDiscoveryFindUIDMsg>();
    request->m_className = ToZString(options.m_className);
    request->m_groupName = ToZString(options.m_group);
    const auto answer = m_pRequest->Ask<ZNodeUIDMsg>("finduid", request, options.Timeout());
    if (!answer) {
        return NoAnswer("finduid");
    }
    const std::string inGroup = options.m_group.empty() ? "" : " in group " + options.m_group;
    if (answer->m_nodeUID.empty()) {
        return Refused("no node of class " + options.m_className + inGroup);
    }
    // Without a node in the group asked for, the discovery node offers one of another group.
    if (!options.m_group.empty() && ToStdString(answer->m_groupName) != options.m_group) {
        return Refused("no node of class " + options.m_className + inGroup + "; the nearest is " +
                       ToStdString(answer->m_nodeUID) + " in group " +
                       (answer->m_groupName.empty() ? "-" : ToStdString(answer->m_groupName)));
    }
    m_out << (IsJSON() ? ZManagersReport::JSON(*answer) + "\n" : ToStdString(answer->m_nodeUID) + "\n");
    return ZTOPO_EXIT_OK;
}

int ZTopoCommand::OnFindNode() {
    const ZTopoOptions& options = *m_pOptions;
    auto request = ZMakeShared<ZDiscoveryFindNodeMsg>();
    request->m_nodeUID = ToZString(options.m_uid);
    const auto answer = m_pRequest->Ask<ZGenericResponseMsg>("findnode", request, options.Timeout());
    if (!answer) {
        return NoAnswer("findnode");
    }
    if (answer->m_bSuccess) {
        m_out << (IsJSON() ? ZManagersReport::JSON(*answer) + "\n"
                           : options.m_uid + ": a registered node manager\n");
        return ZTOPO_EXIT_OK;
    }
    // The discovery node only knows node managers by "findnode"; the graph tells about the rest.
    const auto topology = m_pRequest->FetchTopology(options.Timeout());
    const ZTopologyNode* node = topology ? NodeOf(*topology, options.m_uid) : nullptr;
    if (node != nullptr && !IsManager(*node)) {
        return Refused(options.m_uid + " is not a node manager: it is a node of " +
                       node->m_nodeManagerUID.c_str() + " (findnode knows node managers only)");
    }
    return Refused(options.m_uid + ": not found");
}

int ZTopoCommand::OnMaster() {
    auto request = ZMakeShared<ZDiscoveryRequestMasterNodeManagerUIDMsg>();
    request->m_requester = ToZString(ClientUID());
    const auto answer = m_pRequest->Ask<ZDiscoveryMasterNodeManagerUIDMsg>("getmasternodemanageruid", request,
                                                                           m_pOptions->Timeout());
    if (!answer) {
        return NoAnswer("getmasternodemanageruid");
    }
    if (answer->m_masterNodeManagerUID.empty()) {
        return Refused("the discovery node names no master node manager");
    }
    m_out << (IsJSON() ? ZManagersReport::JSON(*answer) : ToStdString(answer->m_masterNodeManagerUID))
          << "\n";
    return ZTOPO_EXIT_OK;
}

int ZTopoCommand::OnLocking(bool lock) {
    const ZTopoOptions& options = *m_pOptions;
    // The lock belongs to the node manager of the sender; a sender outside the graph has none, and
    // the discovery node would grant the lock to nobody.
    int exitCode = ZTOPO_EXIT_OK;
    const auto topology = FetchTopology(exitCode);
    if (!topology) {
        return exitCode;
    }
    const ZTopologyNode* node = NodeOf(*topology, options.m_as);
    if (node == nullptr) {
        return Refused(options.m_as + " is not in the topology: locks are held by its node managers");
    }
    const std::string manager = node->m_nodeManagerUID.c_str();
    auto request = ZMakeShared<ZDiscoveryLockUnlockMsg>();
    request->m_bLock = lock;
    const auto answer =
        m_pRequest->Ask<ZGenericResponseMsg>("locking", request, options.Timeout(), ZNodeUID(options.m_as));
    if (!answer) {
        return NoAnswer("locking");
    }
    if (!answer->m_bSuccess) {
        return Refused(lock ? "lock denied: another node manager holds the lock"
                            : "unlock denied: " + manager + " does not hold the lock");
    }
    if (IsJSON()) {
        m_out << Printed({{"bLocked", lock}, {"nodeManagerUID", manager}, {"as", options.m_as}});
    } else {
        m_out << (lock ? "locked for node manager " : "unlocked by node manager ") << manager << "\n";
    }
    return ZTOPO_EXIT_OK;
}

int ZTopoCommand::OnRemove() {
    const ZTopoOptions& options = *m_pOptions;
    int exitCode = ZTOPO_EXIT_OK;
    const auto before = FetchTopology(exitCode);
    if (!before) {
        return exitCode;
    }
    const ZTopologyNode* manager = NodeOf(*before, options.m_uid);
    if (manager == nullptr || !IsManager(*manager)) {
        return Refused(options.m_uid + " is not a node manager of the topology");
    }
    std::size_t hosted = 0;
    for (const auto& node : before->m_nodes) {
        hosted += !IsManager(node) && node.m_nodeManagerUID == manager->m_uid ? 1 : 0;
    }
    auto request = ZMakeShared<ZRemoveNodeManagerMsg>();
    request->m_nodeManagerUID = ZNodeUID(options.m_uid);
    if (!m_pRequest->Tell("removenodemanager", request)) {
        return NoAnswer("removenodemanager");
    }
    // The removal has no answer of its own; the discovery node handles requests in order, so the
    // graph fetched next shows it.
    const auto after = FetchTopology(exitCode);
    if (!after) {
        return exitCode;
    }
    if (NodeOf(*after, options.m_uid) != nullptr) {
        return Refused("the discovery node kept " + options.m_uid);
    }
    if (IsJSON()) {
        m_out << Printed({{"removed", options.m_uid}, {"nodes", hosted}});
        return ZTOPO_EXIT_OK;
    }
    m_out << "removed node manager " << options.m_uid << " and the " << hosted
          << (hosted == 1 ? " node" : " nodes") << " it hosted\n";
    return ZTOPO_EXIT_OK;
}

int ZTopoCommand::OnHistory() {
    auto history = std::make_shared<std::shared_ptr<ZRemovalHistoryMsg>>();
    // Guarded by the request's waiting lock, under which listeners run and Wait checks.
    m_pRequest->Listen("removals", [history](const std::shared_ptr<ZMessage>& message) {
        if (auto removals = std::dynamic_pointer_cast<ZRemovalHistoryMsg>(message)) {
            *history = std::move(removals);
        }
    });
    // The broker hands the retained history over on subscription, before any later answer: once
    // the graph has come, a missing history means there was no removal.
    const auto topology = m_pRequest->FetchTopology(m_pOptions->Timeout());
    std::shared_ptr<ZRemovalHistoryMsg> removals;
    m_pRequest->WithLock([&history, &removals] { removals = *history; });
    if (!removals) {
        if (!topology) {
            return NoAnswer("gettopo");
        }
        m_out << (IsJSON() ? ZManagersReport::JSON(*ZMakeShared<ZRemovalHistoryMsg>()) + "\n"
                           : "no removals recorded\n");
        return ZTOPO_EXIT_OK;
    }
    if (!topology) {
        m_err << "ztopo: the discovery node did not answer; this is the broker's last copy of its history\n";
    }
    if (IsJSON()) {
        m_out << ZManagersReport::JSON(*removals) << "\n";
        return ZTOPO_EXIT_OK;
    }
    const bool wide = m_pOptions->Format() == ZTopoFormat::WIDE;
    for (const auto& record : removals->m_records) {
        m_out << (wide ? ZManagersReport::IsoTime(record.m_timeUs) : LocalTime(record.m_timeUs)) << "  "
              << record.m_nodeManagerUID.c_str() << "  "
              << (record.m_reason.empty() ? "-" : ToStdString(record.m_reason)) << "\n";
    }
    return ZTOPO_EXIT_OK;
}
