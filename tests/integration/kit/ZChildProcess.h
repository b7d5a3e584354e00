#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

// A program run as a child process, its standard output and error appended to a log file. Whatever
// path a test leaves by, the child goes with the object: killed (SIGKILL, which also ends a stopped
// process) and reaped, so no test leaves a process behind.
class ZChildProcess {
public:
    ZChildProcess() = default;
    ~ZChildProcess();
    ZChildProcess(const ZChildProcess&) = delete;
    ZChildProcess& operator=(const ZChildProcess&) = delete;

    // Starts args[0] (a path) with the arguments; standard input from `inputPath`, /dev/null when
    // empty. False, with the reason, when it cannot be started or one is running already.
    bool Start(const std::vector<std::string>& args, const std::string& logPath, std::string* error = nullptr,
               const std::string& inputPath = std::string());
    // Whether the child is still running; reaps it once it has exited.
    bool IsRunning();
    pid_t Pid() const { return m_pid; }
    bool Signal(int signal) const;
    // SIGKILL, and reaps.
    void Kill();
    // Waits up to the timeout for the exit: the exit code, 128 + the signal that ended it, or -1
    // while it still runs.
    int WaitExit(std::chrono::milliseconds timeout);
    // SIGTERM, then waits; SIGKILL when the timeout passes first. The exit code as WaitExit gives it.
    int Stop(std::chrono::milliseconds timeout);
    // The exit code of the last child, once reaped; -1 before.
    int ExitCode() const { return m_exitCode; }

    // Runs a program to its end: its exit code, or -1 when it had to be killed at the timeout.
    static int Run(const std::vector<std::string>& args, const std::string& logPath,
                   std::chrono::milliseconds timeout, const std::string& inputPath = std::string());

private:
    bool Reap(int options);

    pid_t m_pid = -1;
    int m_exitCode = -1;
};
