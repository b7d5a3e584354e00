#include "ZSignalWaiter.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>

namespace {
// Only the handler reads it, and it is set before the handlers are installed.
volatile sig_atomic_t g_writeEnd = -1;
}  // namespace

void ZSignalWaiter::OnSignal(int signal) {
    const int savedErrno = errno;
    const auto byte = static_cast<unsigned char>(signal);
    if (write(g_writeEnd, &byte, 1) < 0) {
        // Nothing to do in a handler: a full pipe already holds a pending signal.
    }
    errno = savedErrno;
}

ZSignalWaiter::ZSignalWaiter() {
    if (pipe2(m_pipe, O_CLOEXEC) != 0) {
        return;
    }
    fcntl(m_pipe[1], F_SETFL, O_NONBLOCK);
    g_writeEnd = m_pipe[1];
    sigemptyset(&m_signals);
    sigaddset(&m_signals, SIGINT);
    sigaddset(&m_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &m_signals, &m_oldMask);
    struct sigaction action {};
    action.sa_handler = &ZSignalWaiter::OnSignal;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: the waiting read must return, also where a sanitizer runs the handler late.
    action.sa_flags = 0;
    m_bReady =
        sigaction(SIGINT, &action, &m_oldInterrupt) == 0 && sigaction(SIGTERM, &action, &m_oldTerminate) == 0;
}

ZSignalWaiter::~ZSignalWaiter() {
    pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
    sigaction(SIGINT, &m_oldInterrupt, nullptr);
    sigaction(SIGTERM, &m_oldTerminate, nullptr);
    pthread_sigmask(SIG_SETMASK, &m_oldMask, nullptr);
    g_writeEnd = -1;
    for (const int end : m_pipe) {
        if (end >= 0) {
            close(end);
        }
    }
}

void ZSignalWaiter::Wake(unsigned char reason) {
    if (m_pipe[1] >= 0 && write(m_pipe[1], &reason, 1) < 0) {
        // A full pipe already holds a reason to wake.
    }
}

int ZSignalWaiter::Wait() {
    if (!m_bReady) {
        return 0;
    }
    pthread_sigmask(SIG_UNBLOCK, &m_signals, nullptr);
    unsigned char byte = 0;
    for (;;) {
        const ssize_t got = read(m_pipe[0], &byte, 1);
        if (got == 1) {
            return byte;
        }
        if (got < 0 && errno == EINTR) {
            continue;
        }
        return 0;
    }
}
