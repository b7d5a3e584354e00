#pragma once

#include <string>
#include <vector>

// One fault of the campaign and the step that carries it. A step has one fault, or two at once on
// different node managers; down managers (killed, stopped) come back at the start of a later step.
enum class ZFaultKind {
    Kill,              // SIGKILL; started again some steps later
    FreezeShort,       // SIGSTOP for less than the dead time, then SIGCONT
    FreezeLong,        // SIGSTOP for more than the dead time, then SIGCONT
    RestartSession,    // SIGKILL and started again at once: a new session
    SecondInstance,    // frozen, a second instance started from the same configuration, then thawed
    CleanStop,         // SIGTERM; started again some steps later
    DiscoveryRestart,  // SIGKILL of the discovery host, started again at once
    BrokerRestart,     // the broker stopped and started on the same port
    LinkCut,           // the relayed manager's connection closed on both sides
    LinkStallShort,    // the relay stops forwarding for less than the dead time
    LinkStallLong,     // ... for more than the dead time
};

struct ZFault {
    ZFaultKind m_kind = ZFaultKind::Kill;
    int m_slot = -1;       // the node manager's index; -1 for the discovery host and the broker
    int m_durationMs = 0;  // freezes and stalls
    int m_downSteps = 0;   // kills and stops: steps until it is started again
};

struct ZStep {
    std::vector<ZFault> m_faults;  // one, or two on different node managers
};

// "kill", "freeze", ...: the words of the step lines.
const char* FaultName(ZFaultKind kind);
// The step's faults as the step line shows them, with the managers' UIDs.
std::string Describe(const ZFault& fault, const std::vector<std::string>& uids);
