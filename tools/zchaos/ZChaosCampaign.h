#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ZChaosOptions.h"
#include "ZChaosRandom.h"
#include "ZChaosSystem.h"
#include "ZFaultSchedule.h"
#include "ZInvariantChecker.h"
#include "ZResourceWatch.h"
#include "ZScratchFolder.h"
#include "ZSystemPlan.h"

// A fault campaign: the system drawn from the seed, then step after step a fault (or two at once)
// drawn from the seed, a wait for the system to settle, and the invariants checked against which
// processes run. One line per step; a violation once per step that shows it, after which the
// system is brought back to a known state so that the next step is judged on its own.
class ZChaosCampaign {
public:
    explicit ZChaosCampaign(ZChaosOptions options);
    ~ZChaosCampaign();

    // 0 without violations, 1 with any, 130 when interrupted.
    int Run();

    // From a signal handler: the campaign stops at its next look (within a quarter second), and
    // every process it started goes.
    static void RequestStop() { s_bStop = true; }
    static bool StopRequested() { return s_bStop.load(); }

private:
    using ZExpected = std::vector<ZInvariantChecker::ZExpectedRemoval>;

    // What one settle saw: the violations (every distinct one), what was still pending at the end,
    // the last graph, and the removals of the window.
    struct ZSettled {
        std::set<std::string> m_violations;
        std::vector<std::string> m_pending;
        ZGraph m_graph;
        bool m_bAnswered = false;
        std::vector<ZTopologyObserver::ZRemoval> m_removals;
        double m_seconds = 0;
    };

    int RunSteps();
    void Step(int number);
    std::string StartDue(int number, std::vector<bool>& started, std::vector<std::string>& violations);
    std::string ApplyFaults(const ZStep& step, int number, ZExpected& expected,
                            std::vector<std::string>& violations);
    std::string ApplyFault(const ZFault& fault, int number, ZExpected& expected,
                           std::vector<std::string>& violations,
                           std::vector<std::pair<std::chrono::steady_clock::time_point, ZFault>>& ends);
    void EndFault(const ZFault& fault);
    ZSettled Settle(const ZExpected* expected, std::chrono::milliseconds hold);
    void CheckInstances(ZInvariantChecker::ZResult& result);
    std::vector<ZTopologyObserver::ZRemoval> WindowRemovals() const;
    // After a step with violations: leftovers killed, the graph awaited, later removals judged anew.
    std::string Resynchronise();
    void Report(const std::string& label, const std::string& what, const ZSettled& settled,
                std::vector<std::string> violations);
    void SampleHost(std::vector<std::string>& violations);
    bool Pause(std::chrono::milliseconds duration) const;
    std::chrono::milliseconds SettleTimeout() const;
    std::vector<std::string> ManagerUIDs() const;

    static std::atomic<bool> s_bStop;

    ZChaosOptions m_options;
    ZChaosRandom m_random;
    ZSystemPlan m_plan;
    ZFaultSchedule m_schedule;
    ZScratchFolder m_folder;
    std::unique_ptr<ZChaosSystem> m_pSystem;
    ZResourceWatch m_resources;
    std::int64_t m_watermarkUs = 0;    // removals up to this time were judged by earlier steps
    std::set<std::string> m_standing;  // the violations of the step before: not counted again
    int m_faults = 0;
    int m_violations = 0;
    int m_steps = 0;
};
