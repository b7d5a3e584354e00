#pragma once

#include <sys/types.h>
#include <chrono>
#include <string>

// A mosquitto broker of the test's own: a generated configuration with one listener on a free
// loopback port, started as a child process and stopped when the broker object goes. It can be
// stopped and started again on the same port, as a broker outage would.
class ZTestBroker {
public:
    ZTestBroker();
    ~ZTestBroker();
    ZTestBroker(const ZTestBroker&) = delete;
    ZTestBroker& operator=(const ZTestBroker&) = delete;

    // Whether the mosquitto program is installed (tests skip without it).
    static bool Available();

    // Starts the broker and waits until it accepts connections; false, with the reason, when it
    // does not within the timeout. The first start picks the port; later starts reuse it.
    bool Start(std::string* error = nullptr, std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // SIGTERM, and waits for the process.
    void Stop();
    // SIGKILL: clients see their connections drop without a goodbye.
    void Kill();
    bool IsRunning() const { return m_pid > 0; }

    int Port() const { return m_port; }
    // mqtt://127.0.0.1:<port>
    std::string URL() const;
    // Lines added to the generated configuration before the next Start.
    std::string m_extraConfig;
    // The broker's own log, for a failing test to print.
    std::string LogText() const;

private:
    bool WriteConfig(std::string& error);
    void Reap(int signal);

    std::string m_directory;
    int m_port = 0;
    pid_t m_pid = -1;
};

// Polls a condition every millisecond until it holds or the timeout passes; for tests on real
// processes and sockets, where no clock can be driven. True when the condition held.
template <class Condition>
bool ZWaitUntil(Condition condition, std::chrono::milliseconds timeout);

#include "ZTestKit/ZTestBroker.inl"
