#pragma once

#include <csignal>

// Turns SIGINT and SIGTERM into something a thread can wait for: the handler only writes the
// signal's number into a pipe (the self-pipe trick), and Wait reads it. One instance per process,
// made before any other thread: the signals stay blocked in the threads started afterwards (they
// inherit the mask), so they reach the waiting thread, whose read they interrupt.
class ZSignalWaiter {
public:
    ZSignalWaiter();
    // Puts the previous handlers back.
    ~ZSignalWaiter();
    ZSignalWaiter(const ZSignalWaiter&) = delete;
    ZSignalWaiter& operator=(const ZSignalWaiter&) = delete;

    // False when the pipe or the handlers could not be set up.
    bool IsReady() const { return m_bReady; }
    // Blocks until one of the signals arrives, or Wake is called; returns the signal's number or
    // the reason given to Wake (0 when not ready).
    int Wait();
    // Ends a Wait from another thread with the reason (1 to 255, no signal's number).
    void Wake(unsigned char reason);

private:
    static void OnSignal(int signal);

    int m_pipe[2] = {-1, -1};
    bool m_bReady = false;
    struct sigaction m_oldInterrupt {};
    struct sigaction m_oldTerminate {};
    sigset_t m_signals{};
    sigset_t m_oldMask{};
};
