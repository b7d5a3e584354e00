#include "ZNodeManagerProcess.h"

#include <signal.h>

#include <fstream>
#include <sstream>

ZNodeManagerProcess::ZNodeManagerProcess(ZPrograms programs, ZHostConfig config, std::string folder)
    : m_programs(std::move(programs)),
      m_config(std::move(config)),
      m_configPath(folder + "/" + m_config.UID() + ".json"),
      m_logPath(folder + "/" + m_config.UID() + ".log") {}

bool ZNodeManagerProcess::Start(const std::string& brokerURL, std::string* error) {
    if (!m_config.Write(m_configPath)) {
        if (error != nullptr) {
            *error = "cannot write " + m_configPath;
        }
        return false;
    }
    std::vector<std::string> args = {m_programs.m_znodemanager, m_configPath, "--transport", brokerURL};
    if (m_config.HostsDiscovery()) {
        args.push_back("--module");
        args.push_back(m_programs.m_discoveryModule);
    }
    return m_process.Start(args, m_logPath, error);
}

bool ZNodeManagerProcess::Freeze() const {
    return m_process.Signal(SIGSTOP);
}

bool ZNodeManagerProcess::Thaw() const {
    return m_process.Signal(SIGCONT);
}

std::string ZNodeManagerProcess::LogText() const {
    // The log only grows: read what was added since the last look.
    std::ifstream log(m_logPath, std::ios::binary);
    log.seekg(static_cast<std::streamoff>(m_logText.size()));
    if (log) {
        std::stringstream added;
        added << log.rdbuf();
        m_logText += added.str();
    }
    return m_logText;
}

std::size_t ZNodeManagerProcess::CountInLog(const std::string& fragment) const {
    const std::string text = LogText();
    std::size_t count = 0;
    for (std::size_t at = text.find(fragment); at != std::string::npos; at = text.find(fragment, at)) {
        ++count;
        at = text.find('\n', at);
        if (at == std::string::npos) {
            break;
        }
    }
    return count;
}

std::vector<std::string> ZNodeManagerProcess::UIDsOf(
    const std::vector<std::unique_ptr<ZNodeManagerProcess>>& processes) {
    std::vector<std::string> uids;
    for (const auto& process : processes) {
        uids.push_back(process->UID());
        const auto nodes = process->Config().NodeUIDs();
        uids.insert(uids.end(), nodes.begin(), nodes.end());
    }
    return uids;
}
