#include "ZFault.h"

#include <cstdio>

const char* FaultName(ZFaultKind kind) {
    switch (kind) {
        case ZFaultKind::Kill:
            return "kill";
        case ZFaultKind::FreezeShort:
            return "short freeze";
        case ZFaultKind::FreezeLong:
            return "long freeze";
        case ZFaultKind::RestartSession:
            return "restart";
        case ZFaultKind::SecondInstance:
            return "second instance";
        case ZFaultKind::CleanStop:
            return "clean stop";
        case ZFaultKind::DiscoveryRestart:
            return "discovery host restart";
        case ZFaultKind::BrokerRestart:
            return "broker restart";
        case ZFaultKind::LinkCut:
            return "link cut";
        case ZFaultKind::LinkStallShort:
            return "short link stall";
        case ZFaultKind::LinkStallLong:
            return "long link stall";
    }
    return "?";
}

std::string Describe(const ZFault& fault, const std::vector<std::string>& uids) {
    std::string text = FaultName(fault.m_kind);
    if (fault.m_slot >= 0 && static_cast<std::size_t>(fault.m_slot) < uids.size()) {
        text += " " + uids[static_cast<std::size_t>(fault.m_slot)];
    }
    if (fault.m_durationMs > 0) {
        char seconds[32];
        std::snprintf(seconds, sizeof seconds, " %.1f s", fault.m_durationMs / 1000.0);
        text += seconds;
    }
    if (fault.m_downSteps > 0) {
        text +=
            " (down " + std::to_string(fault.m_downSteps) + (fault.m_downSteps == 1 ? " step)" : " steps)");
    }
    return text;
}
