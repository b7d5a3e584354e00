#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ZGraph.h"
#include "ZManagerLog.h"
#include "ZManagerPlan.h"
#include "ZTopologyObserver.h"

// The invariants, checked on what an operator sees: the graph the discovery node serves, the
// managers' own logs and the removal history, against the ground truth of which processes run.
// What can never be right, even for a moment (two nodes with one UID, an unexplained removal), is a
// violation at once; what is not yet as it should be is pending until the settle time runs out.
class ZInvariantChecker {
public:
    struct ZResult {
        std::vector<std::string> m_violations;
        std::vector<std::string> m_pending;

        bool Settled() const { return m_violations.empty() && m_pending.empty(); }
    };

    // A node manager whose process runs; its log may be null (not compared).
    struct ZRunning {
        const ZManagerPlan* m_pPlan = nullptr;
        const ZManagerLog* m_pLog = nullptr;
    };

    // A removal the step's faults call for: of the manager, for one of the reasons, between min
    // and max times.
    struct ZExpectedRemoval {
        std::string m_uid;
        std::vector<std::string> m_reasons;
        int m_min = 1;
        int m_max = 1;
    };

    // 1, 2 and 4: exactly the running managers, each of their nodes and connections once, no UID
    // twice, each node under the UID its manager logged, and every running manager registered
    // (with one warning in its log when its dead time is not the discovery node's).
    static void CheckGraph(const ZGraph& graph, const std::vector<ZRunning>& running,
                           int discoveryDeadTimeSecs, ZResult& result);
    // 3: the step's removals (those recorded since it began) against what its faults call for.
    // "14:25:48.141Z": a removal's time as the logs stamp theirs.
    static std::string ClockText(std::int64_t timeUs);
    static void CheckRemovals(const std::vector<ZTopologyObserver::ZRemoval>& removals,
                              const std::vector<ZExpectedRemoval>& expected, ZResult& result);
};
