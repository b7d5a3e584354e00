#include "ZChildProcess.h"

#include "ZTestKit/ZProcessWait.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

extern char** environ;

namespace {}  // namespace

ZChildProcess::~ZChildProcess() {
    Kill();
}

bool ZChildProcess::Start(const std::vector<std::string>& args, const std::string& logPath,
                          std::string* error, const std::string& inputPath) {
    const auto fail = [error](const std::string& why) {
        if (error != nullptr) {
            *error = why;
        }
        return false;
    };
    if (IsRunning()) {
        return fail("already running");
    }
    if (args.empty()) {
        return fail("no program");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const std::string input = inputPath.empty() ? std::string("/dev/null") : inputPath;
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0644);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    std::vector<char*> argv;
    for (const auto& arg : args) {
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int failed = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) {
        return fail(args[0] + ": " + std::strerror(failed));
    }
    m_pid = pid;
    m_exitCode = -1;
    return true;
}

bool ZChildProcess::Reap(int options) {
    if (m_pid <= 0) {
        return true;
    }
    int status = 0;
    const pid_t reaped = ::waitpid(m_pid, &status, options);
    if (reaped == 0) {
        return false;
    }
    if (reaped == m_pid) {
        m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    m_pid = -1;
    return true;
}

bool ZChildProcess::IsRunning() {
    return !Reap(WNOHANG);
}

bool ZChildProcess::Signal(int signal) const {
    return m_pid > 0 && ::kill(m_pid, signal) == 0;
}

void ZChildProcess::Kill() {
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        Reap(0);
    }
}

int ZChildProcess::WaitExit(std::chrono::milliseconds timeout) {
    if (!IsRunning()) {
        return m_exitCode;
    }
    if (!ZWaitForExitEvent(m_pid, timeout)) {
        return -1;
    }
    return IsRunning() ? -1 : m_exitCode;
}

int ZChildProcess::Stop(std::chrono::milliseconds timeout) {
    if (!IsRunning()) {
        return m_exitCode;
    }
    Signal(SIGTERM);
    if (WaitExit(timeout) < 0) {
        Kill();
    }
    return m_exitCode;
}

int ZChildProcess::Run(const std::vector<std::string>& args, const std::string& logPath,
                       std::chrono::milliseconds timeout, const std::string& inputPath) {
    ZChildProcess child;
    if (!child.Start(args, logPath, nullptr, inputPath)) {
        return -1;
    }
    const int code = child.WaitExit(timeout);
    if (code < 0) {
        child.Kill();
        return -1;
    }
    return code;
}
