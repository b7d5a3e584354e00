#include "ZTestKit/ZTestEjabberd.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "ZTestKit/ZLoopback.h"
#include "ZTestKit/ZTestBroker.h"

namespace {

constexpr const char* kEjabberdctl = "/usr/sbin/ejabberdctl";
constexpr const char* kEpmd = "/usr/bin/epmd";
// ejabberdctl switches to this user when started as root; the kit switches itself, so that every
// process stays in the group it kills.
constexpr const char* kRunAs = "ejabberd";
constexpr const char* kDocumentedPort = "port: 1883\n";
constexpr std::chrono::seconds kCtlTimeout{30};

std::string ReadFile(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

bool OwnedByEjabberd(const std::string& path) {
    if (::geteuid() != 0) {
        return true;
    }
    const passwd* user = ::getpwnam(kRunAs);
    return user != nullptr && ::chown(path.c_str(), user->pw_uid, user->pw_gid) == 0;
}

bool MakeFolder(const std::string& path) {
    return (::mkdir(path.c_str(), 0755) == 0 || errno == EEXIST) && OwnedByEjabberd(path);
}

bool WriteOwnedFile(const std::string& path, const std::string& text, mode_t mode) {
    {
        std::ofstream file(path, std::ios::trunc);
        file << text;
        if (!file) {
            return false;
        }
    }
    return ::chmod(path.c_str(), mode) == 0 && OwnedByEjabberd(path);
}

}  // namespace

ZTestEjabberd::ZTestEjabberd(int nodes, std::string configTemplate)
    : m_template(configTemplate.empty() ? std::string(Z_EJABBERD_EXAMPLE_CONFIG)
                                        : std::move(configTemplate)) {
    for (int i = 0; i < nodes; ++i) {
        m_nodes.push_back(std::make_unique<ZNode>());
    }
    m_users.emplace_back(kUser, kPassword);
}

ZTestEjabberd::~ZTestEjabberd() {
    Stop();
    if (!m_folder.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
}

bool ZTestEjabberd::Available() {
    if (::access(kEjabberdctl, X_OK) != 0 || ::access(kEpmd, X_OK) != 0) {
        return false;
    }
    const passwd* self = ::getpwuid(::geteuid());
    return ::geteuid() == 0 || (self != nullptr && std::string(self->pw_name) == kRunAs);
}

std::string ZTestEjabberd::NodeName(int node) const {
    return "ejabberd" + std::to_string(node + 1) + "@localhost";
}

int ZTestEjabberd::Port(int node) const {
    return m_nodes.at(static_cast<std::size_t>(node))->m_port;
}

std::string ZTestEjabberd::URL(int node) const {
    return URL(node, kUser, kPassword);
}

std::string ZTestEjabberd::URL(int node, const std::string& user, const std::string& password) const {
    return "mqtt://" + user + ":" + password + "@127.0.0.1:" + std::to_string(Port(node));
}

std::string ZTestEjabberd::LogText(int node) const {
    return ReadFile(m_nodes.at(static_cast<std::size_t>(node))->m_folder + "/console.log");
}

bool ZTestEjabberd::Prepare(std::string& error) {
    if (!m_folder.empty()) {
        return true;
    }
    char pattern[] = "/tmp/ztestejabberd-XXXXXX";
    if (::mkdtemp(pattern) == nullptr) {
        error = "cannot make a folder for ejabberd";
        return false;
    }
    m_folder = pattern;
    std::random_device random;
    m_cookie = "ZTEST" + std::to_string(random()) + std::to_string(random());
    m_epmdPort = ZFreeLoopbackPort();
    // The Erlang cookie is read from $HOME: one home for every node and every ejabberdctl command,
    // so that they may talk to each other.
    const std::string home = m_folder + "/home";
    if (::chmod(m_folder.c_str(), 0755) != 0 || !OwnedByEjabberd(m_folder) || !MakeFolder(home) ||
        !WriteOwnedFile(home + "/.erlang.cookie", m_cookie, 0400)) {
        error = "cannot prepare " + m_folder;
        return false;
    }
    for (int i = 0; i < Nodes(); ++i) {
        ZNode& node = *m_nodes[static_cast<std::size_t>(i)];
        node.m_folder = m_folder + "/node" + std::to_string(i + 1);
        node.m_port = ZFreeLoopbackPort();
        if (!WriteNodeFiles(i, error)) {
            return false;
        }
    }
    return true;
}

bool ZTestEjabberd::WriteNodeFiles(int node, std::string& error) {
    const ZNode& sut = *m_nodes[static_cast<std::size_t>(node)];
    std::string config = ReadFile(m_template);
    const auto listener = config.find(kDocumentedPort);
    if (listener == std::string::npos) {
        error = m_template + " holds no listener on \"" + std::string(kDocumentedPort, 10) + "\"";
        return false;
    }
    config.replace(listener, std::string(kDocumentedPort).size(),
                   "port: " + std::to_string(sut.m_port) + "\n");
    // Without a configuration file of ejabberdctl's own, Debian's in /etc/ejabberd would name the
    // node and the configuration. The distribution port listens on the loopback interface only.
    const std::string ctlConfig = "ERLANG_NODE=" + NodeName(node) +
                                  "\n"
                                  "ERL_OPTIONS=\"-kernel inet_dist_use_interface {127,0,0,1}\"\n"
                                  "EJABBERD_BYPASS_WARNINGS=true\n";
    const std::string conf = sut.m_folder + "/conf";
    if (!MakeFolder(sut.m_folder) || !MakeFolder(conf) || !MakeFolder(sut.m_folder + "/logs") ||
        !MakeFolder(sut.m_folder + "/spool") || !WriteOwnedFile(conf + "/ejabberd.yml", config, 0644) ||
        !WriteOwnedFile(conf + "/ejabberdctl.cfg", ctlConfig, 0644) ||
        !WriteOwnedFile(conf + "/inetrc", "", 0644)) {
        error = "cannot write the configuration of " + NodeName(node) + " into " + sut.m_folder;
        return false;
    }
    return true;
}

ZGroupProcess::ZOptions ZTestEjabberd::CtlOptions(int node, const std::vector<std::string>& command,
                                                  const std::string& logPath) const {
    const ZNode& sut = *m_nodes[static_cast<std::size_t>(node)];
    const std::string conf = sut.m_folder + "/conf";
    ZGroupProcess::ZOptions options;
    options.m_args = {kEjabberdctl,
                      "--config-dir",
                      conf,
                      "--config",
                      conf + "/ejabberd.yml",
                      "--ctl-config",
                      conf + "/ejabberdctl.cfg",
                      "--logs",
                      sut.m_folder + "/logs",
                      "--spool",
                      sut.m_folder + "/spool"};
    options.m_args.insert(options.m_args.end(), command.begin(), command.end());
    options.m_environment = {"HOME=" + m_folder + "/home", "ERL_EPMD_PORT=" + std::to_string(m_epmdPort),
                             "ERL_EPMD_ADDRESS=127.0.0.1"};
    options.m_logPath = logPath;
    options.m_directory = sut.m_folder + "/spool";
    options.m_user = kRunAs;
    return options;
}

int ZTestEjabberd::Ctl(int node, const std::vector<std::string>& command, std::string& output,
                       std::chrono::milliseconds timeout) {
    const std::string logPath = m_nodes[static_cast<std::size_t>(node)]->m_folder + "/ctl.log";
    std::remove(logPath.c_str());
    const int code = ZGroupProcess::Run(CtlOptions(node, command, logPath), timeout);
    output = ReadFile(logPath);
    return code;
}

bool ZTestEjabberd::WaitUntilAccepting(int node, std::chrono::milliseconds timeout, std::string& error) {
    ZNode& sut = *m_nodes[static_cast<std::size_t>(node)];
    const bool up =
        ZWaitUntil([&sut] { return !sut.m_process.IsRunning() || ZAcceptsOnLoopback(sut.m_port); },
                   timeout) &&
        sut.m_process.IsRunning();
    if (!up) {
        error = NodeName(node) + " did not accept MQTT connections on port " + std::to_string(sut.m_port) +
                ":\n" + LogText(node);
    }
    return up;
}

// Without a port mapper of its own, a node would start one outside its process group.
bool ZTestEjabberd::StartEpmd(std::string& error) {
    if (m_epmd.IsRunning()) {
        return true;
    }
    ZGroupProcess::ZOptions epmd;
    epmd.m_args = {kEpmd, "-port", std::to_string(m_epmdPort), "-address", "127.0.0.1"};
    epmd.m_logPath = m_folder + "/epmd.log";
    epmd.m_user = kRunAs;
    if (!m_epmd.Start(epmd, &error) ||
        !ZWaitUntil([this] { return ZAcceptsOnLoopback(m_epmdPort); }, std::chrono::seconds(10))) {
        error = "epmd did not start on port " + std::to_string(m_epmdPort) + ": " + error +
                ReadFile(epmd.m_logPath);
        return false;
    }
    return true;
}

bool ZTestEjabberd::StartNode(int node, std::string* error, std::chrono::milliseconds timeout) {
    std::string problem;
    ZNode& sut = *m_nodes.at(static_cast<std::size_t>(node));
    if (!Prepare(problem) || !StartEpmd(problem) ||
        !sut.m_process.Start(CtlOptions(node, {"foreground"}, sut.m_folder + "/console.log"), &problem)) {
        problem = NodeName(node) + ": " + problem;
    } else {
        WaitUntilAccepting(node, timeout, problem);
    }
    if (!problem.empty() && error != nullptr) {
        *error = problem;
    }
    return problem.empty();
}

bool ZTestEjabberd::Start(std::string* error, std::chrono::milliseconds timeout) {
    std::string problem;
    const auto fail = [&](const std::string& why) {
        if (error != nullptr) {
            *error = why;
        }
        Stop();
        return false;
    };
    if (!Available()) {
        return fail("ejabberd is not installed, or this user may not run it");
    }
    if (!Prepare(problem)) {
        return fail(problem);
    }
    if (!StartEpmd(problem)) {
        return fail(problem);
    }
    // The nodes boot together; the first one registers the accounts while the others boot.
    for (int i = 0; i < Nodes(); ++i) {
        ZNode& sut = *m_nodes[static_cast<std::size_t>(i)];
        if (!sut.m_process.Start(CtlOptions(i, {"foreground"}, sut.m_folder + "/console.log"), &problem)) {
            return fail(NodeName(i) + ": " + problem);
        }
    }
    if (!WaitUntilAccepting(0, timeout, problem)) {
        return fail(problem);
    }
    for (const auto& user : m_users) {
        std::string output;
        if (Ctl(0, {"register", user.first, "localhost", user.second}, output, kCtlTimeout) != 0) {
            return fail("cannot register " + user.first + ": " + output);
        }
    }
    for (int i = 1; i < Nodes(); ++i) {
        std::string output;
        if (!WaitUntilAccepting(i, timeout, problem)) {
            return fail(problem);
        }
        if (Ctl(i, {"join_cluster", NodeName(0)}, output, kCtlTimeout) != 0) {
            return fail(NodeName(i) + " did not join " + NodeName(0) + ": " + output + LogText(i));
        }
        // Joining restarts ejabberd on the node.
        if (!WaitUntilAccepting(i, timeout, problem)) {
            return fail(problem);
        }
    }
    return true;
}

void ZTestEjabberd::KillNode(int node) {
    ZNode& sut = *m_nodes.at(static_cast<std::size_t>(node));
    sut.m_process.Kill();
    // The VM's sockets close as the kernel tears it down, a moment after the signal.
    ZWaitUntil([&sut] { return !ZAcceptsOnLoopback(sut.m_port); }, std::chrono::seconds(5));
}

bool ZTestEjabberd::RestartNode(int node, std::string* error) {
    KillNode(node);
    return StartNode(node, error);
}

bool ZTestEjabberd::IsNodeRunning(int node) {
    return m_nodes.at(static_cast<std::size_t>(node))->m_process.IsRunning();
}

bool ZTestEjabberd::AddUser(const std::string& user, const std::string& password, std::string* error) {
    std::string output;
    if (m_nodes.empty() || !m_nodes[0]->m_process.IsRunning()) {
        // Registered with the others at the next Start.
        m_users.emplace_back(user, password);
        return true;
    }
    if (Ctl(0, {"register", user, "localhost", password}, output, kCtlTimeout) != 0) {
        if (error != nullptr) {
            *error = output;
        }
        return false;
    }
    m_users.emplace_back(user, password);
    return true;
}

void ZTestEjabberd::Stop() {
    for (auto& node : m_nodes) {
        node->m_process.Kill();
    }
    m_epmd.Kill();
}
