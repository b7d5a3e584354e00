#include "ZTestKit/ZTestBroker.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "ZTestKit/ZLoopback.h"

namespace {

constexpr const char* kMosquitto = "/usr/sbin/mosquitto";
// How long a broker asked to stop may take before it is killed.
constexpr int kStopGraceMs = 5000;

}  // namespace

ZTestBroker::ZTestBroker() = default;

ZTestBroker::~ZTestBroker() {
    Stop();
    if (!m_directory.empty()) {
        std::remove((m_directory + "/mosquitto.conf").c_str());
        std::remove((m_directory + "/mosquitto.log").c_str());
        ::rmdir(m_directory.c_str());
    }
}

bool ZTestBroker::Available() {
    return ::access(kMosquitto, X_OK) == 0;
}

std::string ZTestBroker::URL() const {
    return "mqtt://127.0.0.1:" + std::to_string(m_port);
}

bool ZTestBroker::WriteConfig(std::string& error) {
    if (m_directory.empty()) {
        char pattern[] = "/tmp/ztestbroker-XXXXXX";
        if (::mkdtemp(pattern) == nullptr) {
            error = "cannot make a directory for the broker";
            return false;
        }
        m_directory = pattern;
        ::chmod(m_directory.c_str(), 0755);
    }
    if (m_port == 0) {
        m_port = ZFreeLoopbackPort();
    }
    std::ofstream config(m_directory + "/mosquitto.conf");
    config << "listener " << m_port << " 127.0.0.1\n"
           << "allow_anonymous true\n"
           << "persistence false\n"
           << "set_tcp_nodelay true\n"
           << "log_dest stderr\n"
           << "log_type error\nlog_type warning\nlog_type notice\n"
           << m_extraConfig << "\n";
    if (!config) {
        error = "cannot write the broker's configuration";
        return false;
    }
    return true;
}

bool ZTestBroker::Start(std::string* error, std::chrono::milliseconds timeout) {
    std::string problem;
    if (IsRunning()) {
        return true;
    }
    if (!Available()) {
        problem = std::string(kMosquitto) + " is not installed";
    } else if (WriteConfig(problem)) {
        const std::string configPath = m_directory + "/mosquitto.conf";
        const std::string logPath = m_directory + "/mosquitto.log";
        const pid_t pid = ::fork();
        if (pid == 0) {
            // A test that dies (a sanitizer abort, a crash) takes its broker with it.
            ::prctl(PR_SET_PDEATHSIG, SIGTERM);
            const int log = ::open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
            if (log >= 0) {
                ::dup2(log, STDOUT_FILENO);
                ::dup2(log, STDERR_FILENO);
            }
            ::execl(kMosquitto, kMosquitto, "-c", configPath.c_str(), static_cast<char*>(nullptr));
            ::_exit(127);
        }
        if (pid < 0) {
            problem = "cannot fork the broker";
        } else {
            m_pid = pid;
            const bool up = ZWaitUntil(
                [this] {
                    int status = 0;
                    if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
                        m_pid = -1;
                        return true;  // exited: stop waiting
                    }
                    return ZAcceptsOnLoopback(m_port);
                },
                timeout);
            if (!up || m_pid < 0) {
                problem = "the broker did not accept connections on port " + std::to_string(m_port) + ":\n" +
                          LogText();
                Kill();
            }
        }
    }
    if (!problem.empty() && error != nullptr) {
        *error = problem;
    }
    return problem.empty();
}

// A broker asked to stop is given a few seconds and then killed: one caught by the signal while
// it was still starting up has been seen to keep waiting for network events, and a test must
// never hang on its broker. The wait is on the process's descriptor, so it ends as soon as the
// broker does.
void ZTestBroker::Reap(int signal) {
    if (m_pid <= 0) {
        return;
    }
    const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, m_pid, 0));
    ::kill(m_pid, signal);
    if (signal != SIGKILL) {
        pollfd exited{pidfd, POLLIN, 0};
        if (pidfd < 0 || ::poll(&exited, 1, kStopGraceMs) != 1) {
            ::kill(m_pid, SIGKILL);
        }
    }
    if (pidfd >= 0) {
        ::close(pidfd);
    }
    int status = 0;
    ::waitpid(m_pid, &status, 0);
    m_pid = -1;
}

void ZTestBroker::Stop() {
    Reap(SIGTERM);
}

void ZTestBroker::Kill() {
    Reap(SIGKILL);
}

std::string ZTestBroker::LogText() const {
    std::ifstream log(m_directory + "/mosquitto.log");
    std::stringstream text;
    text << log.rdbuf();
    return text.str();
}
