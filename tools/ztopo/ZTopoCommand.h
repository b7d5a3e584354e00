#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "ZTopoOptions.h"
#include "ZTopologyRequest.h"

class ZDiscoveryNodeManagersMsg;
class ZNodeComm;
namespace CLI {
class App;
}

// What ztopo tells the shell; scripts test these.
enum ZTopoExit : int {
    ZTOPO_EXIT_OK = 0,
    ZTOPO_EXIT_REFUSED = 1,    // the discovery node answered no: not found, lock denied, ...
    ZTOPO_EXIT_USAGE = 2,      // bad command line or argument
    ZTOPO_EXIT_NO_ANSWER = 3,  // no answer within the time-out, or no transport
    ZTOPO_EXIT_DENIED = 4,     // the broker turned the credentials or the client away
    ZTOPO_EXIT_OUTPUT = 5,     // the answer could not be written (a full disk, a closed pipe)
};

// The ztopo program without its process: parses a command line, reaches the discovery node through
// the transport the connector makes, runs one subcommand and returns its exit code. The connector,
// the waiting and the end of `watch` are seams, so that tests run it against a discovery node on
// an in-process bus.
class ZTopoCommand {
public:
    // The transport for a broker URL, connected; null with `error` (one line) when there is none.
    using Connector =
        std::function<std::shared_ptr<ZNodeComm>(const std::string& url, const std::string& clientUID,
                                                 std::chrono::milliseconds timeout, std::string& error)>;
    // Whether `watch` should end; by default it ends on SIGINT or SIGTERM.
    using StopCheck = std::function<bool()>;

    ZTopoCommand(std::ostream& out, std::ostream& err);
    ~ZTopoCommand();

    void SetConnector(Connector connector) { m_connector = std::move(connector); }
    void SetStep(ZTopologyRequest::Step step) { m_step = std::move(step); }
    void SetStopCheck(StopCheck check) { m_stopCheck = std::move(check); }

    // `args` as main receives them, the program name first.
    int Run(const std::vector<std::string>& args);

    // "ztopo-<host name>-<pid>", with what cannot be a topic level replaced by "_".
    static std::string ClientUID();

private:
    // One line on the error stream for a command line that cannot be used.
    int Usage(const CLI::App& app, const std::vector<std::string>& args, const std::string& what) const;
    int Dispatch(const std::string& subcommand);
    int NoAnswer(const char* what) const;
    int Refused(const std::string& why) const;
    std::shared_ptr<ZTopologyMsg> FetchTopology(int& exitCode);
    std::shared_ptr<ZDiscoveryNodeManagersMsg> FetchManagers(int& exitCode);
    bool IsJSON() const;
    // `ztopo --man` and `ztopo --completion bash`: generated from the command line's description.
    int PrintManual(const CLI::App& app);

    int OnShow();
    int OnJSON();
    int OnDot();
    int OnWatch();
    int OnFindUID();
    int OnFindNode();
    int OnMaster();
    int OnLocking(bool lock);
    int OnRemove();
    int OnHistory();
    // ZTopoCommandManagers.cpp: what the discovery node's list of node managers tells.
    int OnManagers();
    int OnLockStatus();
    int OnDescribe();

    std::ostream& m_out;
    std::ostream& m_err;
    Connector m_connector;
    ZTopologyRequest::Step m_step;
    StopCheck m_stopCheck;
    std::unique_ptr<ZTopoOptions> m_pOptions;
    std::unique_ptr<ZTopologyRequest> m_pRequest;
};
