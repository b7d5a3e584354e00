#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "ZChildProcess.h"
#include "ZHostConfig.h"

// One znodemanager process on a broker: its configuration written into a folder of the caller's,
// its output into "<UID>.log" beside it. It can be started again after a kill, as a restarted
// device would be; the log keeps what every run wrote.
class ZNodeManagerProcess {
public:
    // Where the programs are: the host, and the discovery module it loads when it hosts the
    // discovery node.
    struct ZPrograms {
        std::string m_znodemanager;
        std::string m_discoveryModule;
    };

    ZNodeManagerProcess(ZPrograms programs, ZHostConfig config, std::string folder);

    // Writes the configuration and starts the program on the broker; false, with the reason, when
    // it cannot be started.
    bool Start(const std::string& brokerURL, std::string* error = nullptr);
    void Kill() { m_process.Kill(); }
    // SIGSTOP and SIGCONT: a process that hangs without its connection dropping.
    bool Freeze() const;
    bool Thaw() const;
    // SIGTERM: the node manager leaves the topology and exits; its exit code, or -1.
    int Stop(std::chrono::milliseconds timeout) { return m_process.Stop(timeout); }
    bool IsRunning() { return m_process.IsRunning(); }
    // Waits for the program to end by itself: its exit code, or -1 while it still runs.
    int WaitExit(std::chrono::milliseconds timeout) { return m_process.WaitExit(timeout); }
    pid_t Pid() const { return m_process.Pid(); }

    const ZHostConfig& Config() const { return m_config; }
    // Every UID the processes register: each node manager and its nodes.
    static std::vector<std::string> UIDsOf(
        const std::vector<std::unique_ptr<ZNodeManagerProcess>>& processes);
    const std::string& UID() const { return m_config.UID(); }
    const std::string& LogPath() const { return m_logPath; }
    std::string LogText() const;
    // How many lines of the log hold the fragment; polling it costs little.
    std::size_t CountInLog(const std::string& fragment) const;

private:
    ZPrograms m_programs;
    ZHostConfig m_config;
    std::string m_configPath;
    std::string m_logPath;
    ZChildProcess m_process;
    mutable std::string m_logText;  // what has been read of the log so far
};
