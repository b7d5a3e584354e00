#include "ZTestKit/ZProcessWait.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

bool ZWaitForExitEvent(pid_t pid, std::chrono::milliseconds timeout) {
    // A process descriptor becomes readable when the child exits. Through syscall(): glibc 2.36's
    // <sys/pidfd.h> declares pidfd_open without C linkage.
    const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (descriptor < 0) {
        return false;
    }
    pollfd exited{descriptor, POLLIN, 0};
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || ::poll(&exited, 1, static_cast<int>(left.count())) != -1 || errno != EINTR) {
            break;
        }
    }
    ::close(descriptor);
    return true;
}
