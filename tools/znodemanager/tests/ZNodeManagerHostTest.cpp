// The znodemanager program as a user runs it: command lines in; exit codes, output and the files it
// writes out. Processes are waited on by reading their output, never by sleeping.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "NodeBase/ZTopologyMsg.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/ZMakeShared.h"
#include "ZThresholdLogSink.h"

extern char** environ;

namespace {

using std::chrono::steady_clock;

constexpr auto kGenerous = std::chrono::seconds(60);

// A child process with its stdout and stderr on pipes. A child still running when the object goes
// (a failed test) is killed.
class ZChildProcess {
public:
    explicit ZChildProcess(const std::vector<std::string>& args) {
        int out[2];
        int err[2];
        if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
            ADD_FAILURE() << "pipe2 failed";
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
        std::vector<char*> argv;
        for (const auto& arg : args) {
            argv.push_back(const_cast<char*>(arg.c_str()));
        }
        argv.push_back(nullptr);
        const int failed = posix_spawn(&m_pid, argv[0], &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        close(err[1]);
        m_fds[0] = out[0];
        m_fds[1] = err[0];
        if (failed != 0) {
            m_pid = -1;
            ADD_FAILURE() << "posix_spawn failed: " << failed;
        }
    }
    ~ZChildProcess() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        for (const int fd : m_fds) {
            if (fd >= 0) {
                close(fd);
            }
        }
    }
    ZChildProcess(const ZChildProcess&) = delete;
    ZChildProcess& operator=(const ZChildProcess&) = delete;

    // Reads output until stderr holds the fragment; false when the deadline passes or output ends.
    bool WaitForStderr(const std::string& fragment) {
        const auto deadline = steady_clock::now() + kGenerous;
        while (m_err.find(fragment) == std::string::npos) {
            if (!ReadSome(deadline)) {
                return false;
            }
        }
        return true;
    }
    void Signal(int signal) {
        if (m_pid > 0) {
            kill(m_pid, signal);
        }
    }
    // Reads everything up to the end of output, then reaps the child: its exit code, or -1.
    int Wait() {
        const auto deadline = steady_clock::now() + kGenerous;
        while (ReadSome(deadline)) {
        }
        if (m_pid <= 0 || m_fds[0] >= 0 || m_fds[1] >= 0) {
            return -1;  // still running at the deadline: the destructor kills it
        }
        int status = 0;
        if (waitpid(m_pid, &status, 0) != m_pid) {
            return -1;
        }
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    const std::string& Out() const { return m_out; }
    const std::string& Err() const { return m_err; }

private:
    // One poll with the remaining time; false once both pipes are closed or the time is up.
    bool ReadSome(steady_clock::time_point deadline) {
        std::vector<pollfd> fds;
        for (const int fd : m_fds) {
            if (fd >= 0) {
                fds.push_back(pollfd{fd, POLLIN, 0});
            }
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - steady_clock::now());
        if (fds.empty() || left.count() <= 0) {
            return false;
        }
        if (poll(fds.data(), fds.size(), static_cast<int>(left.count())) <= 0) {
            return false;
        }
        for (const auto& polled : fds) {
            if ((polled.revents & (POLLIN | POLLHUP)) == 0) {
                continue;
            }
            char buffer[4096];
            const ssize_t got = read(polled.fd, buffer, sizeof buffer);
            const int index = polled.fd == m_fds[0] ? 0 : 1;
            if (got <= 0) {
                close(m_fds[index]);
                m_fds[index] = -1;
            } else {
                (index == 0 ? m_out : m_err).append(buffer, static_cast<std::size_t>(got));
            }
        }
        return true;
    }

    pid_t m_pid = -1;
    int m_fds[2] = {-1, -1};
    std::string m_out;
    std::string m_err;
};

class ZNodeManagerHostTest : public ::testing::Test {
protected:
    ZNodeManagerHostTest() {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_folder = std::filesystem::temp_directory_path() /
                   ("znm-host-" + std::to_string(getpid()) + "-" + info->name());
        std::filesystem::create_directories(m_folder);
    }
    ~ZNodeManagerHostTest() override { std::filesystem::remove_all(m_folder); }

    std::string Write(const std::string& text, const std::string& name = "nm.json") {
        const std::string path = (m_folder / name).string();
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    static std::vector<std::string> Command(std::vector<std::string> args) {
        args.insert(args.begin(), Z_ZNODEMANAGER);
        // A cross-built host runs under the same emulator as this test.
        if (std::string(Z_EMULATOR).size() > 0) {
            args.insert(args.begin(), Z_EMULATOR);
        }
        return args;
    }
    // Runs the host on the configuration text and expects it to refuse it with exactly this line.
    void ExpectRefused(const std::string& config, const std::string& problem) {
        const std::string path = Write(config);
        ZChildProcess host(Command({path}));
        EXPECT_EQ(host.Wait(), 2) << host.Err();
        EXPECT_EQ(host.Err(), "znodemanager: " + path + ": " + problem + "\n");
        EXPECT_EQ(host.Out(), "");
    }

    std::filesystem::path m_folder;
};

TEST_F(ZNodeManagerHostTest, ConfigurationProblemsExitWith2AndOneLine) {
    const std::string missing = (m_folder / "absent.json").string();
    ZChildProcess absent(Command({missing}));
    EXPECT_EQ(absent.Wait(), 2);
    EXPECT_EQ(absent.Err(), "znodemanager: " + missing + ": cannot read: No such file or directory\n");

    ExpectRefused(
        "{\"UID\": \"M\",\n \"Group\": }",
        "not a valid JSON document: line 2, column 11: syntax error while parsing value - unexpected "
        "'}'; expected '[', '{', or a literal");
    ExpectRefused(R"({"Group": "G"})", "missing \"UID\"");
    ExpectRefused(R"({"UID": "Radar/1"})", "\"UID\" <Radar/1> may not contain '/', '+' or '#'");
    ExpectRefused(R"({"UID": "M", "Nodes": [{"name": "Radar1"}]})", "node 1 (\"Radar1\") has no \"class\"");
    ExpectRefused(R"({"UID": "M", "Connections": [{"from": "status-Radar1", "to": "control/D/show"}]})",
                  "connection 1: \"from\" <status-Radar1> is not an endpoint text (kind/UID/name)");
    ExpectRefused(R"({"UID": "M", "Nodes": [{"class": "ZRadarNode", "name": "Radar1"}]})",
                  "Nodes[0].class: unknown class <ZRadarNode>");
    ExpectRefused(R"({"UID": "M", "Nodes": [{"class": "ZTopologyMsg", "name": "t"}]})",
                  "Nodes[0].class: class <ZTopologyMsg> is not a node");
}

// Every slip that reading the file would forgive, one line each with the key's path; the classes of
// the modules the file names are known to the check.
TEST_F(ZNodeManagerHostTest, CheckNamesEveryProblemByItsKeyPathAndExits2) {
    const std::string path = Write(std::string(R"({
        "UID": 42,
        "Grupo": "Bridge",
        "Modules": [")") + Z_NODE_DISCOVERY_MODULE +
                                   R"("],
        "Nodes": [
            {"class": "ZNodeDiscovery", "name": "d", "uid": "ZNodeDiscovery2",
             "config": {"ConfigParams": [{"class": "ZDiscoveryConfig", "TopoMonitorIntervalSecs": 2147483648}]}},
            {"class": "ZNod", "name": "x"},
            {"class": "ZNode", "name": "y", "config": {"DeviceType": "DEVICE_CARTT", "ConfigParams": [
                {"class": "ZSystemParams", "NodeManagerTimeoutSec": 5},
                {"class": "ZCommsParams", "nMaxMessageByte": 5, "nThreads": "8", "bSyncTime": 1},
                {"class": "ZLogParams", "LogLevel": "warn"},
                {"class": "ZSytemParams"}
            ]}}
        ]
    })");
    ZChildProcess check(Command({"--check", path}));

    EXPECT_EQ(check.Wait(), 2);
    const std::string prefix = "znodemanager: " + path + ": ";
    EXPECT_EQ(
        check.Err(),
        prefix + "Grupo: unknown key; did you mean Group?\n" +  //
            prefix + "UID: expected text, got 42\n" + prefix +
            "Nodes[0].uid: the discovery node serves as ZNodeDiscovery1 only, not as ZNodeDiscovery2\n" +
            prefix +
            "Nodes[0].config.ConfigParams[0].TopoMonitorIntervalSecs: out of range: 2147483648 (a 32-bit "
            "whole number)\n" +
            prefix + "Nodes[1].class: unknown class <ZNod>; did you mean ZNode?\n" + prefix +
            "Nodes[2].config.DeviceType: unknown name <DEVICE_CARTT>; did you mean DEVICE_CART?\n" + prefix +
            "Nodes[2].config.ConfigParams[0].NodeManagerTimeoutSec: unknown key; did you mean "
            "NodeManagerTimeoutSecs?\n" +
            prefix +
            "Nodes[2].config.ConfigParams[1].nMaxMessageByte: unknown key; did you mean nMaxMessageBytes?\n" +
            prefix + "Nodes[2].config.ConfigParams[1].nThreads: expected a whole number, got \"8\"\n" +
            prefix + "Nodes[2].config.ConfigParams[1].bSyncTime: expected true or false, got 1\n" + prefix +
            "Nodes[2].config.ConfigParams[2].LogLevel: unknown name <warn>; did you mean warning?\n" +
            prefix +
            "Nodes[2].config.ConfigParams[3].class: unknown class <ZSytemParams>; did you mean "
            "ZSystemParams?\n");
    EXPECT_EQ(check.Out(), "");

    // The same file is refused at start, with the same lines, before anything runs.
    ZChildProcess start(Command({path}));
    EXPECT_EQ(start.Wait(), 2);
    EXPECT_EQ(start.Err(), check.Err());
}

TEST_F(ZNodeManagerHostTest, CheckPassesAUsableFileAndCountsItsWarnings) {
    const std::string clean = Write(R"({"UID": "M", "Nodes": [{"class": "ZNode", "name": "a"}]})");
    ZChildProcess good(Command({"--check", clean}));
    EXPECT_EQ(good.Wait(), 0) << good.Err();
    EXPECT_EQ(good.Out(), clean + ": OK\n");
    EXPECT_EQ(good.Err(), "");

    const std::string doubtful = Write(R"({"UID": "M", "DiscoveryUID": "Other1", "Config": {"ConfigParams": [
        {"class": "ZLogParams", "LogLevel": "ERROR", "nMaxFiles": -1}, {"class": "ZLogParams"}]}})",
                                       "doubtful.json");
    ZChildProcess warned(Command({"--check", doubtful}));
    EXPECT_EQ(warned.Wait(), 0) << warned.Err();
    EXPECT_EQ(warned.Out(), doubtful + ": OK (3 warnings)\n");
    const std::string prefix = "znodemanager: " + doubtful + ": ";
    EXPECT_EQ(
        warned.Err(),
        prefix +
            "DiscoveryUID: warning: the discovery node serves as ZNodeDiscovery1 only; a manager of "
            "\"Other1\" never registers\n" +
            prefix + "Config.ConfigParams[0].nMaxFiles: warning: negative: -1\n" + prefix +
            "Config.ConfigParams[1]: warning: a second ZLogParams; it replaces Config.ConfigParams[0]\n");
}

TEST_F(ZNodeManagerHostTest, ModuleProblemsExitWith2AndNameTheModule) {
    const std::string nowhere = (m_folder / "libNowhere.so").string();
    ZChildProcess absent(Command({Write(R"({"UID": "M", "Modules": ["./libNowhere.so"]})")}));
    EXPECT_EQ(absent.Wait(), 2);
    EXPECT_EQ(absent.Err(),
              "znodemanager: " + nowhere + ": cannot open shared object file: No such file or directory\n");

    ZChildProcess plainLibrary(Command({"--version", "--module", Z_NOT_A_MODULE}));
    EXPECT_EQ(plainLibrary.Wait(), 2);
    EXPECT_EQ(plainLibrary.Err(),
              std::string("znodemanager: ") + Z_NOT_A_MODULE + ": not a module (no GetVersionTag)\n");

    const std::string twice =
        Write(std::string(R"({"UID": "M", "Modules": [")") + Z_NODE_DISCOVERY_MODULE + "\"]}");
    ZChildProcess duplicate(Command({twice, "--module", Z_NODE_DISCOVERY_MODULE}));
    EXPECT_EQ(duplicate.Wait(), 2);
    EXPECT_EQ(duplicate.Err(), std::string("znodemanager: ") + Z_NODE_DISCOVERY_MODULE +
                                   ": module loaded already (as " + Z_NODE_DISCOVERY_MODULE + ")\n");
}

TEST_F(ZNodeManagerHostTest, UsageErrorsExitWithCLI11Codes) {
    ZChildProcess noConfig(Command({}));
    EXPECT_EQ(noConfig.Wait(), static_cast<int>(CLI::ExitCodes::RequiredError));
    EXPECT_NE(noConfig.Err().find("CONFIG"), std::string::npos) << noConfig.Err();

    ZChildProcess badLevel(Command({"--log-level", "7", "nm.json"}));
    EXPECT_EQ(badLevel.Wait(), static_cast<int>(CLI::ExitCodes::ValidationError));

    ZChildProcess help(Command({"--help"}));
    EXPECT_EQ(help.Wait(), 0);
    EXPECT_NE(help.Out().find("--dump-topology"), std::string::npos);
}

TEST_F(ZNodeManagerHostTest, VersionAndClassListWithTheDiscoveryModule) {
    ZChildProcess version(Command({"--version", "--module", Z_NODE_DISCOVERY_MODULE}));
    EXPECT_EQ(version.Wait(), 0) << version.Err();
    EXPECT_EQ(version.Out(),
              std::string("znodemanager 2.151\n") + Z_NODE_DISCOVERY_MODULE + ": 2.151 (575577671)\n");

    ZChildProcess classes(Command({"--list-classes", "--module", Z_NODE_DISCOVERY_MODULE}));
    EXPECT_EQ(classes.Wait(), 0) << classes.Err();
    for (const char* name : {"ZNodeDiscovery", "ZTopologyMsg", "ZNodeManager", "ZDiscoveryConfig"}) {
        EXPECT_NE(classes.Out().find(std::string("\n") + name + "\n"), std::string::npos) << name;
    }

    ZChildProcess without(Command({"--list-classes"}));
    EXPECT_EQ(without.Wait(), 0);
    EXPECT_EQ(without.Out().find("ZNodeDiscovery\n"), std::string::npos);
}

// The topology is written when the host is asked to stop, before its node manager leaves the graph,
// so the file shows what the host held; the log shows the removal that follows.
TEST_F(ZNodeManagerHostTest, HostRegistersRunsUntilSIGTERMThenLeavesAndExits0) {
    const std::string config = Write(std::string(R"({
        "UID": "Host-NM",
        "Modules": [")") + Z_NODE_DISCOVERY_MODULE +
                                     R"("],
        "Nodes": [
            {"class": "ZNodeDiscovery", "name": "discovery",
             "config": {"ConfigParams": [{"class": "ZDiscoveryConfig", "TopoMonitorIntervalSecs": 60}]}},
            {"class": "ZNode", "name": "alpha"},
            {"class": "ZNode", "name": "beta", "uid": "Beta1"}
        ],
        "Connections": [{"from": "status/Beta1/out", "to": "control/ZNode1/in"}]
    })");
    const std::string dump = (m_folder / "topology.json").string();
    ZChildProcess host(Command({config, "--log-level", "2", "--dump-topology", dump}));

    ASSERT_TRUE(host.WaitForStderr("Node manager <Host-NM> running")) << host.Err();
    host.Signal(SIGTERM);

    EXPECT_EQ(host.Wait(), 0) << host.Err();
    EXPECT_NE(host.Err().find("Removing node manager: UID = <Host-NM>"), std::string::npos) << host.Err();
    EXPECT_EQ(host.Err().find("did not confirm"), std::string::npos) << host.Err();
    auto stream = ZMakeShared<ZJSONCommStream>();
    ASSERT_TRUE(stream->SetDataFromFile(dump.c_str()));
    ZTopologyMsg topology;
    ASSERT_TRUE(topology.DeserializeClass(stream));
    std::vector<std::string> uids;
    for (const auto& node : topology.m_nodes) {
        uids.emplace_back(node.m_uid.c_str());
    }
    EXPECT_EQ(uids, (std::vector<std::string>{"Host-NM", "ZNode1", "Beta1"}));
    ASSERT_EQ(topology.m_edges.size(), 1u);
    EXPECT_EQ(topology.m_edges[0].AsString(), "status/Beta1/out --> control/ZNode1/in");
    EXPECT_EQ(topology.m_plugins, ZStringList{"NodeDiscovery"});
}

// The log records of the manager's configuration set decide where lines go and how many: the log at
// its level, in a file rotated by size and on stderr; the audit file holds what changed the system.
TEST_F(ZNodeManagerHostTest, LogRecordsOfTheConfigurationSetTakeEffect) {
    setenv("ZTEST_LOG_FOLDER", m_folder.c_str(), 1);
    const std::string config = Write(std::string(R"({
        "UID": "Logged-NM",
        "Modules": [")") + Z_NODE_DISCOVERY_MODULE +
                                     R"("],
        "Nodes": [{"class": "ZNodeDiscovery", "name": "discovery"}, {"class": "ZNode", "name": "alpha"}],
        "Config": {"ConfigParams": [
            {"class": "ZLogParams", "LogPath": "${ZTEST_LOG_FOLDER}/host.log", "LogLevel": "progress",
             "nMaxFileSizeKB": 1, "nMaxFiles": 2},
            {"class": "ZAuditLogParams", "LogPath": "$ZTEST_LOG_FOLDER/audit.log", "LogLevel": "progress"},
            {"class": "ZMessageLogParams", "bEnabled": true, "LogPath": "$ZTEST_LOG_FOLDER/messages.log",
             "Classes": ["ZDiscoveryManagerMsg"], "nMaxLoggedBytes": 40}
        ]}
    })");
    ZChildProcess host(Command({config}));
    ASSERT_TRUE(host.WaitForStderr("Node manager <Logged-NM> running")) << host.Err();
    host.Signal(SIGTERM);
    EXPECT_EQ(host.Wait(), 0) << host.Err();

    const auto read = [](const std::filesystem::path& path) {
        std::ifstream file(path);
        return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    };
    const std::string log = read(m_folder / "host.log.1") + read(m_folder / "host.log");
    EXPECT_LE(std::filesystem::file_size(m_folder / "host.log"), 1024u);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "host.log.3"));
    EXPECT_NE(log.find("Removing node manager: UID = <Logged-NM>"), std::string::npos) << log;
    EXPECT_NE(host.Err().find("Removing node manager: UID = <Logged-NM>"), std::string::npos) << host.Err();

    const std::string audit = read(m_folder / "audit.log");
    EXPECT_NE(audit.find("Removing node manager: UID = <Logged-NM>"), std::string::npos) << audit;
    EXPECT_EQ(audit.find("OnFindNode"), std::string::npos) << audit;
    EXPECT_EQ(audit.find("ZNodeManager "), std::string::npos) << "the discovery node's lines only: " << audit;

    std::istringstream messages(read(m_folder / "messages.log"));
    std::vector<std::string> kinds;
    for (std::string line; std::getline(messages, line);) {
        const auto body = line.find(" {");
        ASSERT_NE(body, std::string::npos) << line;
        EXPECT_EQ(line.size() - body - 1, 43u) << "cut to 40 bytes and marked: " << line;
        kinds.push_back(line.substr(line.find(' ') + 1, body - line.find(' ') - 1));
    }
    EXPECT_EQ(kinds, (std::vector<std::string>{
                         "sent control/ZNodeDiscovery1/addnodemanager ZDiscoveryManagerMsg",
                         "received control/ZNodeDiscovery1/addnodemanager ZDiscoveryManagerMsg",
                         "sent response/Logged-NM/addnodemanager ZDiscoveryManagerMsg",
                         "received response/Logged-NM/addnodemanager ZDiscoveryManagerMsg"}));

    // A level on the command line wins over the record's; an unusable path stops the host.
    ZChildProcess quiet(Command({config, "--log-level", "4", "--check"}));
    EXPECT_EQ(quiet.Wait(), 0) << quiet.Err();
    unsetenv("ZTEST_LOG_FOLDER");
    ZChildProcess unset(Command({config}));
    EXPECT_EQ(unset.Wait(), 2);
    EXPECT_EQ(unset.Err(),
              "znodemanager: " + config +
                  ": ZLogParams: LogPath <${ZTEST_LOG_FOLDER}/host.log> names a variable that is not set\n");
}

TEST_F(ZNodeManagerHostTest, WithoutADiscoveryNodeItRetriesUntilSIGINT) {
    const std::string config =
        Write(R"({"UID": "Lonely-NM", "Nodes": [{"class": "ZNode", "name": "alpha"}]})");
    ZChildProcess host(Command({config, "--log-level", "3"}));

    ASSERT_TRUE(host.WaitForStderr(
        "No answer from discovery node ZNodeDiscovery1 after 1 attempts; retrying in 0.5 s"))
        << host.Err();
    host.Signal(SIGINT);

    EXPECT_EQ(host.Wait(), 0) << host.Err();
    EXPECT_EQ(host.Err().find("[2]"), std::string::npos) << "level 3 and up only: " << host.Err();
}

// The discovery node's answers to signs of life are detail for the host's log, whatever level the
// node gives them; everything else keeps its level.
TEST(ZThresholdLogSinkTest, SignOfLifeAnswersShowOnlyFromDetailOn) {
    const auto record = [](const char* source, const char* function, std::int32_t level) {
        ZLogRecord line;
        line.source = source;
        line.function = function;
        line.level = level;
        return line;
    };
    const ZThresholdLogSink host(LOGLEVEL_PROGRESS);
    const ZThresholdLogSink detailed(LOGLEVEL_DETAIL);

    EXPECT_FALSE(host.Shows(record("ZNodeDiscovery", "OnFindNode", LOGLEVEL_PROGRESS)));
    EXPECT_TRUE(detailed.Shows(record("ZNodeDiscovery", "OnFindNode", LOGLEVEL_PROGRESS)));
    EXPECT_TRUE(host.Shows(record("ZNodeDiscovery", "OnFindNode", LOGLEVEL_ERROR)));
    EXPECT_TRUE(host.Shows(record("ZNodeDiscovery", "OnAddNodeManager", LOGLEVEL_PROGRESS)));
    EXPECT_FALSE(host.Shows(record("ZNodeManager", "SendSignOfLife", LOGLEVEL_DETAIL)));
    EXPECT_FALSE(ZThresholdLogSink(0).Shows(record("ZNodeDiscovery", "Lock", LOGLEVEL_ERROR)));
}

}  // namespace
