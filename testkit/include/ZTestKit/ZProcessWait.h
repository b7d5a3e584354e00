#pragma once

#include <sys/types.h>

#include <chrono>

// Waits until the child process has exited (it becomes reapable) or the timeout passes, on the
// event itself rather than by polling; false when the process cannot be watched. The caller reaps.
bool ZWaitForExitEvent(pid_t pid, std::chrono::milliseconds timeout);
