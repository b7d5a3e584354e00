#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

// A program that starts helpers of its own (a shell script that runs the Erlang VM, which runs port
// programs), run in a process group of its own so that one signal ends all of them. A guard process
// starts the program and waits; when the object kills it or goes, or the test process dies in any
// way (a crash, a sanitizer abort, ctest's kill), the guard sees its pipe close, kills the whole
// group and reaps it. Nothing outlives the test.
class ZGroupProcess {
public:
    struct ZOptions {
        std::vector<std::string> m_args;         // args[0] is a path
        std::vector<std::string> m_environment;  // NAME=VALUE, over the test's own environment
        std::string m_logPath;                   // standard output and error, appended
        std::string m_directory;                 // the working directory; unchanged when empty
        std::string m_user;                      // run as this user when started as root
    };

    ZGroupProcess() = default;
    ~ZGroupProcess();
    ZGroupProcess(const ZGroupProcess&) = delete;
    ZGroupProcess& operator=(const ZGroupProcess&) = delete;

    // False, with the reason, when the program cannot be started or one is running already.
    bool Start(const ZOptions& options, std::string* error = nullptr);
    // Whether the program still runs; reaps the guard once it has ended.
    bool IsRunning();
    // SIGKILL to the whole group; returns once every process of it is gone.
    void Kill();
    // Waits for the program to end by itself: its exit code (128 + signal when killed), -1 while it
    // still runs at the timeout.
    int WaitExit(std::chrono::milliseconds timeout);

    // Runs a program to its end in a group of its own: its exit code, or -1 when it had to be killed
    // at the timeout or could not start.
    static int Run(const ZOptions& options, std::chrono::milliseconds timeout);

private:
    bool Reap(int options);

    pid_t m_guard = -1;
    int m_pipe = -1;  // write end; the guard kills the group when it closes
    int m_exitCode = -1;
};
