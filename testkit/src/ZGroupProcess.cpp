#include "ZTestKit/ZGroupProcess.h"

#include "ZTestKit/ZProcessWait.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <map>

extern char** environ;

namespace {

int ExitCodeOf(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::vector<std::string> MergedEnvironment(const std::vector<std::string>& overrides) {
    std::map<std::string, std::string> variables;
    const auto add = [&variables](const std::string& entry) {
        const auto equals = entry.find('=');
        if (equals != std::string::npos) {
            variables[entry.substr(0, equals)] = entry;
        }
    };
    for (char** entry = environ; *entry != nullptr; ++entry) {
        add(*entry);
    }
    for (const auto& entry : overrides) {
        add(entry);
    }
    std::vector<std::string> merged;
    for (const auto& variable : variables) {
        merged.push_back(variable.second);
    }
    return merged;
}

std::vector<char*> Pointers(std::vector<std::string>& strings) {
    std::vector<char*> pointers;
    for (auto& text : strings) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// Everything between fork and exec is async-signal-safe: the test process has threads.
[[noreturn]] void ExecProgram(char* const* argv, char* const* envp, const char* logPath,
                              const char* directory, bool switchUser, uid_t uid, gid_t gid) {
    ::setpgid(0, 0);
    if (switchUser && (::setgroups(1, &gid) != 0 || ::setgid(gid) != 0 || ::setuid(uid) != 0)) {
        ::_exit(126);
    }
    // Set after the user switch, which clears it: the program goes with its guard.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (directory[0] != '\0' && ::chdir(directory) != 0) {
        ::_exit(126);
    }
    const int input = ::open("/dev/null", O_RDONLY);
    const int log = ::open(logPath, O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (input < 0 || log < 0) {
        ::_exit(126);
    }
    ::dup2(input, STDIN_FILENO);
    ::dup2(log, STDOUT_FILENO);
    ::dup2(log, STDERR_FILENO);
    ::close_range(3, UINT_MAX, 0);
    ::execve(argv[0], argv, envp);
    ::_exit(127);
}

// Kills the program's group and reaps what it leaves: the guard is their subreaper, so that no
// killed process stays a zombie of a container's init that reaps nothing.
[[noreturn]] void EndGroup(pid_t group, int exitCode) {
    ::kill(-group, SIGKILL);
    for (int round = 0; round < 500; ++round) {
        int status = 0;
        const pid_t reaped = ::waitpid(-1, &status, WNOHANG);
        if (reaped < 0 && errno == ECHILD) {
            break;
        }
        if (reaped <= 0) {
            ::poll(nullptr, 0, 10);
        }
    }
    ::_exit(exitCode);
}

// The guard: in a process group of its own (a signal to the test's group leaves it alone), it runs
// the program in another group, and kills that group when the owner's pipe closes. It ends with the
// program's exit code when the program ends first.
[[noreturn]] void Guard(int ownerPipe, char* const* argv, char* const* envp, const char* logPath,
                        const char* directory, bool switchUser, uid_t uid, gid_t gid) {
    ::setpgid(0, 0);
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    // Only the owner's end stays open here: a guard that held another guard's pipe would keep that
    // group alive after the owner died.
    if (ownerPipe > 3) {
        ::close_range(3, static_cast<unsigned>(ownerPipe - 1), 0);
    }
    ::close_range(static_cast<unsigned>(ownerPipe + 1), UINT_MAX, 0);
    const pid_t program = ::fork();
    if (program == 0) {
        ExecProgram(argv, envp, logPath, directory, switchUser, uid, gid);
    }
    if (program < 0) {
        ::_exit(126);
    }
    ::setpgid(program, program);
    const int exited = static_cast<int>(::syscall(SYS_pidfd_open, program, 0));
    pollfd events[2] = {{ownerPipe, POLLIN, 0}, {exited, POLLIN, 0}};
    for (;;) {
        const int ready = ::poll(events, exited >= 0 ? 2 : 1, -1);
        if (ready < 0 && errno != EINTR) {
            EndGroup(program, 126);
        }
        if (ready > 0 && events[0].revents != 0) {
            EndGroup(program, 128 + SIGKILL);
        }
        if (ready > 0 && events[1].revents != 0) {
            int status = 0;
            ::waitpid(program, &status, 0);
            EndGroup(program, ExitCodeOf(status));
        }
    }
}

}  // namespace

ZGroupProcess::~ZGroupProcess() {
    Kill();
}

bool ZGroupProcess::Start(const ZOptions& options, std::string* error) {
    const auto fail = [error](const std::string& why) {
        if (error != nullptr) {
            *error = why;
        }
        return false;
    };
    if (IsRunning()) {
        return fail("already running");
    }
    if (options.m_args.empty()) {
        return fail("no program");
    }
    bool switchUser = false;
    uid_t uid = 0;
    gid_t gid = 0;
    if (!options.m_user.empty() && ::geteuid() == 0) {
        passwd entry{};
        passwd* found = nullptr;
        char buffer[4096];
        if (::getpwnam_r(options.m_user.c_str(), &entry, buffer, sizeof(buffer), &found) != 0 ||
            found == nullptr) {
            return fail("no user " + options.m_user);
        }
        switchUser = true;
        uid = entry.pw_uid;
        gid = entry.pw_gid;
    }
    std::vector<std::string> args = options.m_args;
    std::vector<std::string> environment = MergedEnvironment(options.m_environment);
    const std::vector<char*> argv = Pointers(args);
    const std::vector<char*> envp = Pointers(environment);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return fail(std::string("pipe: ") + std::strerror(errno));
    }
    const pid_t guard = ::fork();
    if (guard == 0) {
        Guard(ends[0], argv.data(), envp.data(), options.m_logPath.c_str(), options.m_directory.c_str(),
              switchUser, uid, gid);
    }
    ::close(ends[0]);
    if (guard < 0) {
        ::close(ends[1]);
        return fail(std::string("fork: ") + std::strerror(errno));
    }
    m_guard = guard;
    m_pipe = ends[1];
    m_exitCode = -1;
    return true;
}

bool ZGroupProcess::Reap(int options) {
    if (m_guard <= 0) {
        return true;
    }
    int status = 0;
    const pid_t reaped = ::waitpid(m_guard, &status, options);
    if (reaped == 0) {
        return false;
    }
    if (reaped == m_guard) {
        m_exitCode = ExitCodeOf(status);
    }
    if (m_pipe >= 0) {
        ::close(m_pipe);
    }
    m_pipe = -1;
    m_guard = -1;
    return true;
}

bool ZGroupProcess::IsRunning() {
    return !Reap(WNOHANG);
}

void ZGroupProcess::Kill() {
    if (m_guard > 0) {
        // The guard kills the group, reaps it and exits.
        ::close(m_pipe);
        m_pipe = -1;
        Reap(0);
    }
}

int ZGroupProcess::WaitExit(std::chrono::milliseconds timeout) {
    if (!IsRunning()) {
        return m_exitCode;
    }
    if (!ZWaitForExitEvent(m_guard, timeout)) {
        return -1;
    }
    return IsRunning() ? -1 : m_exitCode;
}

int ZGroupProcess::Run(const ZOptions& options, std::chrono::milliseconds timeout) {
    ZGroupProcess process;
    if (!process.Start(options)) {
        return -1;
    }
    const int code = process.WaitExit(timeout);
    if (code < 0) {
        process.Kill();
    }
    return code;
}
