#include "ZFaultSchedule.h"

#include <algorithm>
#include <iterator>

namespace {

struct ZWeight {
    ZFaultKind m_kind;
    int m_weight;
};

// How often each fault comes, out of their sum.
constexpr ZWeight kWeights[] = {
    {ZFaultKind::Kill, 12},
    {ZFaultKind::FreezeShort, 9},
    {ZFaultKind::FreezeLong, 9},
    {ZFaultKind::RestartSession, 12},
    {ZFaultKind::SecondInstance, 9},
    {ZFaultKind::CleanStop, 10},
    {ZFaultKind::DiscoveryRestart, 6},
    {ZFaultKind::BrokerRestart, 6},
    {ZFaultKind::LinkCut, 8},
    {ZFaultKind::LinkStallShort, 5},
    {ZFaultKind::LinkStallLong, 5},
};

// Faults that may come beside another one, on another node manager.
constexpr ZFaultKind kOverlapping[] = {ZFaultKind::Kill, ZFaultKind::FreezeShort, ZFaultKind::CleanStop,
                                       ZFaultKind::RestartSession};
constexpr int kOverlapPercent = 25;
constexpr int kMaxDownSteps = 3;

bool IsManagerFault(ZFaultKind kind) {
    return kind != ZFaultKind::DiscoveryRestart && kind != ZFaultKind::BrokerRestart;
}

bool IsLinkFault(ZFaultKind kind) {
    return kind == ZFaultKind::LinkCut || kind == ZFaultKind::LinkStallShort ||
           kind == ZFaultKind::LinkStallLong;
}

}  // namespace

ZFaultSchedule::ZFaultSchedule(ZChaosRandom& random, int managers, int relayedIndex, int deadTimeSecs)
    : m_random(random), m_managers(managers), m_relayed(relayedIndex), m_deadTimeSecs(deadTimeSecs) {}

int ZFaultSchedule::LongestShortMs() const {
    const int deadMs = m_deadTimeSecs * 1000;
    return std::max(ShortestMs(), deadMs - deadMs / 3 - 1000);
}

bool ZFaultSchedule::Eligible(ZFaultKind kind, const std::vector<bool>& running) const {
    const int up = static_cast<int>(std::count(running.begin(), running.end(), true));
    if (IsLinkFault(kind)) {
        return m_relayed >= 0 && running[static_cast<std::size_t>(m_relayed)];
    }
    if (!IsManagerFault(kind)) {
        return true;
    }
    if (kind == ZFaultKind::Kill || kind == ZFaultKind::CleanStop) {
        // At least half of the managers keep running.
        return up > 0 && (m_managers - up) < std::max(1, m_managers / 2);
    }
    return up > 0;
}

int ZFaultSchedule::PickRunning(const std::vector<bool>& running, int exclude) {
    std::vector<int> candidates;
    for (std::size_t i = 0; i < running.size(); ++i) {
        if (running[i] && static_cast<int>(i) != exclude) {
            candidates.push_back(static_cast<int>(i));
        }
    }
    if (candidates.empty()) {
        return -1;
    }
    return candidates[m_random.Below(candidates.size())];
}

ZFault ZFaultSchedule::Draw(ZFaultKind kind, const std::vector<bool>& running, int exclude) {
    ZFault fault;
    fault.m_kind = kind;
    if (IsLinkFault(kind)) {
        fault.m_slot = m_relayed;
    } else if (IsManagerFault(kind)) {
        fault.m_slot = PickRunning(running, exclude);
    }
    switch (kind) {
        case ZFaultKind::FreezeShort:
        case ZFaultKind::LinkStallShort:
            fault.m_durationMs = static_cast<int>(m_random.Between(ShortestMs(), LongestShortMs()));
            break;
        case ZFaultKind::FreezeLong:
        case ZFaultKind::LinkStallLong:
            fault.m_durationMs = static_cast<int>(m_random.Between(ShortestLongMs(), LongestLongMs()));
            break;
        case ZFaultKind::Kill:
        case ZFaultKind::CleanStop:
            fault.m_downSteps = static_cast<int>(m_random.Between(1, kMaxDownSteps));
            break;
        default:
            break;
    }
    return fault;
}

ZStep ZFaultSchedule::Next(const std::vector<bool>& running) {
    std::vector<ZWeight> eligible;
    int total = 0;
    for (const auto& weight : kWeights) {
        if (Eligible(weight.m_kind, running)) {
            eligible.push_back(weight);
            total += weight.m_weight;
        }
    }
    ZStep step;
    if (total == 0) {
        step.m_faults.push_back(Draw(ZFaultKind::BrokerRestart, running, -1));
        return step;
    }
    int roll = static_cast<int>(m_random.Below(static_cast<std::uint64_t>(total)));
    ZFaultKind kind = eligible.front().m_kind;
    for (const auto& weight : eligible) {
        if (roll < weight.m_weight) {
            kind = weight.m_kind;
            break;
        }
        roll -= weight.m_weight;
    }
    step.m_faults.push_back(Draw(kind, running, -1));
    if (!IsManagerFault(kind) || !m_random.Percent(kOverlapPercent)) {
        return step;
    }
    const ZFaultKind second = kOverlapping[m_random.Below(std::size(kOverlapping))];
    std::vector<bool> others = running;
    if (step.m_faults.front().m_slot >= 0) {
        others[static_cast<std::size_t>(step.m_faults.front().m_slot)] = false;
    }
    // The relayed manager's link faults leave it running; the second fault takes another one.
    if (Eligible(second, others) && std::find(others.begin(), others.end(), true) != others.end()) {
        step.m_faults.push_back(Draw(second, others, step.m_faults.front().m_slot));
    }
    return step;
}
