#include "ZChaosCampaign.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <thread>

#include "NodeBase/ZTopologyMsg.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kConnectionLost = "connection lost";
constexpr const char* kSilence = "silence";
constexpr const char* kNewSession = "new session";
constexpr const char* kRequest = "request";
// The exit code of a superseded znodemanager.
constexpr int kSupersededExit = 3;
constexpr const char* kSupersededLine = "was replaced by a newer start of the same node manager";
constexpr milliseconds kStopTimeout{10000};
// How long one gettopo may take, and the pause between two: a graph of a hundred managers is some
// 100 kB of JSON for the discovery host to write.
constexpr milliseconds kAskTimeout{2000};
constexpr milliseconds kPollPause{200};
constexpr milliseconds kStartTimeout{30000};
// Warm-up of each discovery-host run, and the tolerances of its growth (see docs/reliability.md).
constexpr int kWarmupSamples = 5;
constexpr std::int64_t kRssSlackKiB = 8 * 1024;
constexpr int kRssPercent = 25;
constexpr int kDescriptorSlack = 3;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

std::atomic<bool> ZChaosCampaign::s_bStop{false};

ZChaosCampaign::ZChaosCampaign(ZChaosOptions options)
    : m_options(std::move(options)),
      m_random(m_options.m_seed),
      m_plan(m_random, m_options.m_managers, m_options.m_deadTimeSecs),
      m_schedule(m_random, m_options.m_managers, m_plan.RelayedIndex(), m_options.m_deadTimeSecs),
      m_folder("zchaos"),
      m_resources(kWarmupSamples, kRssSlackKiB, kRssPercent, kDescriptorSlack) {}

ZChaosCampaign::~ZChaosCampaign() {
    m_pSystem.reset();
}

milliseconds ZChaosCampaign::SettleTimeout() const {
    // Registrations queue for the topology's lock: a big system takes longer to come back whole.
    return milliseconds(
        (m_options.m_deadTimeSecs + m_options.m_settleMarginSecs + m_options.m_managers / 10) * 1000);
}

bool ZChaosCampaign::Pause(milliseconds duration) const {
    const auto until = Clock::now() + duration;
    while (Clock::now() < until) {
        if (StopRequested()) {
            return false;
        }
        std::this_thread::sleep_for(std::min(milliseconds(50), std::chrono::duration_cast<milliseconds>(
                                                                   until - Clock::now() + milliseconds(1))));
    }
    return !StopRequested();
}

std::vector<std::string> ZChaosCampaign::ManagerUIDs() const {
    std::vector<std::string> uids;
    for (const auto& plan : m_plan.Managers()) {
        uids.push_back(plan.m_uid);
    }
    return uids;
}

int ZChaosCampaign::Run() {
    if (m_folder.Path().empty()) {
        std::fprintf(stderr, "zchaos: cannot make a scratch folder under /tmp\n");
        return 1;
    }
    std::printf(
        "zchaos: seed %llu, %d node managers, discovery dead time %d s, settle within %lld s, logs in %s\n",
        static_cast<unsigned long long>(m_options.m_seed), m_options.m_managers, m_options.m_deadTimeSecs,
        static_cast<long long>(SettleTimeout().count() / 1000), m_folder.Path().c_str());
    const auto& managers = m_plan.Managers();
    for (const auto& plan : managers) {
        int named = 0;
        for (const auto& node : plan.m_nodes) {
            named += node.m_uid.empty() ? 0 : 1;
        }
        std::printf("  %s: dead time %d s, %zu nodes (%d named), %zu connections%s\n", plan.m_uid.c_str(),
                    plan.m_deadTimeSecs, plan.m_nodes.size(), named, plan.m_edges.size(),
                    plan.m_bRelayed ? ", through the relay" : "");
    }
    std::fflush(stdout);
    const auto started = Clock::now();
    const int code = RunSteps();
    std::printf("%d steps in %.1f min\n", m_steps, SecondsSince(started) / 60);
    const auto& first = m_resources.First();
    const auto& last = m_resources.Last();
    if (first.m_rssKiB >= 0) {
        std::printf(
            "discovery host: VmRSS %lld KiB at the start, %lld KiB at the end; %d descriptors at the start, "
            "%d at the end\n",
            static_cast<long long>(first.m_rssKiB), static_cast<long long>(last.m_rssKiB),
            first.m_descriptors, last.m_descriptors);
    }
    if (m_violations > 0 || m_options.m_bKeep || code != 0) {
        m_folder.Keep();
        std::printf("logs kept in %s\n", m_folder.Path().c_str());
    }
    std::printf("%d faults, %d invariant violations, seed %llu\n", m_faults, m_violations,
                static_cast<unsigned long long>(m_options.m_seed));
    if (m_violations > 0) {
        std::printf("replay: zchaos --seed %llu --managers %d --dead-time %d --faults %d\n",
                    static_cast<unsigned long long>(m_options.m_seed), m_options.m_managers,
                    m_options.m_deadTimeSecs, m_faults);
    }
    std::fflush(stdout);
    m_pSystem.reset();
    if (code != 0) {
        return code;
    }
    return m_violations > 0 ? 1 : 0;
}

int ZChaosCampaign::RunSteps() {
    ZNodeManagerProcess::ZPrograms programs{m_options.m_znodemanager, m_options.m_discoveryModule};
    m_pSystem = std::make_unique<ZChaosSystem>(m_plan, programs, m_folder.Path());
    const auto started = Clock::now();
    std::string error;
    if (!m_pSystem->Start(kStartTimeout, &error)) {
        std::fprintf(stderr, "zchaos: the system did not start: %s\n", error.c_str());
        return 1;
    }
    m_resources.NewLifetime();
    // The start is judged like a step: every manager registered, nothing removed.
    const ZExpected none;
    ZSettled settled = Settle(&none, milliseconds(0));
    Report("step 0", "start " + std::to_string(m_options.m_managers) + " node managers", settled, {});
    const auto churn = std::chrono::duration<double, std::ratio<60>>(m_options.m_durationMinutes);
    for (int number = 1; !StopRequested(); ++number) {
        if (m_options.m_durationMinutes > 0 ? Clock::now() - started >= churn
                                            : m_faults >= m_options.m_faults) {
            break;
        }
        Step(number);
    }
    if (StopRequested()) {
        std::printf("interrupted\n");
        return 130;
    }
    // Removals that come late belong to no step: a quiet dead time at the end shows them.
    const auto hold = milliseconds((m_options.m_deadTimeSecs + 2) * 1000);
    settled = Settle(&none, hold);
    Report("final", "quiet for " + std::to_string(hold.count() / 1000) + " s", settled, {});
    return StopRequested() ? 130 : 0;
}

std::vector<ZTopologyObserver::ZRemoval> ZChaosCampaign::WindowRemovals() const {
    std::vector<ZTopologyObserver::ZRemoval> window;
    for (auto& removal : m_pSystem->Observer().Removals()) {
        if (removal.m_timeUs > m_watermarkUs) {
            window.push_back(std::move(removal));
        }
    }
    return window;
}

void ZChaosCampaign::CheckInstances(ZInvariantChecker::ZResult& result) {
    std::vector<ZManagerSlot*> slots = {&m_pSystem->Host()};
    for (auto& slot : m_pSystem->Managers()) {
        slots.push_back(slot.get());
    }
    for (ZManagerSlot* slot : slots) {
        for (auto& older : slot->Superseded()) {
            ZNodeManagerProcess& process = *older->m_pProcess;
            const std::string who =
                "the older instance of " + slot->UID() + " (run " + std::to_string(older->m_run) + ")";
            const int code = process.WaitExit(milliseconds(0));
            if (code < 0) {
                result.m_pending.push_back(who + " still runs beside the newer one");
            } else if (code != kSupersededExit) {
                result.m_violations.push_back(who + " exited with code " + std::to_string(code) + ", not " +
                                              std::to_string(kSupersededExit));
            } else if (const std::size_t lines = older->Log().Count(kSupersededLine); lines != 1) {
                result.m_violations.push_back(who + " logged " + std::to_string(lines) + " lines \"" +
                                              kSupersededLine + "\", not 1");
            }
        }
        auto* current = slot->Current();
        if (current != nullptr && slot->IsRunning()) {
            const auto& doubles = current->Log().DoubleAnswers();
            for (std::size_t i = current->m_reportedDoubles; i < doubles.size(); ++i) {
                result.m_violations.push_back(slot->UID() + " (run " + std::to_string(current->m_run) +
                                              "): " + doubles[i]);
            }
        }
    }
}

ZChaosCampaign::ZSettled ZChaosCampaign::Settle(const ZExpected* expected, milliseconds hold) {
    ZSettled settled;
    const auto start = Clock::now();
    const auto holdUntil = start + hold;
    const auto timeout = SettleTimeout() + hold;
    const auto deadline = start + timeout;
    for (;;) {
        // The removals first, the graph after: the discovery node answers in order, so the graph
        // it sends already holds every removal seen here. The other way round a removal could be
        // judged against the graph from before it.
        std::vector<ZTopologyObserver::ZRemoval> removals;
        if (expected != nullptr) {
            removals = WindowRemovals();
        }
        const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
        const auto topology = m_pSystem->Observer().Topology(std::clamp(left, milliseconds(1), kAskTimeout));
        if (topology && !StopRequested()) {
            ZInvariantChecker::ZResult result;
            settled.m_graph = ZGraph::From(*topology);
            settled.m_bAnswered = true;
            settled.m_removals = std::move(removals);
            ZInvariantChecker::CheckGraph(settled.m_graph, m_pSystem->Running(), m_options.m_deadTimeSecs,
                                          result);
            if (expected != nullptr) {
                ZInvariantChecker::CheckRemovals(settled.m_removals, *expected, result);
            }
            CheckInstances(result);
            settled.m_violations.insert(result.m_violations.begin(), result.m_violations.end());
            settled.m_pending = result.m_pending;
            if (result.m_pending.empty() && Clock::now() >= holdUntil) {
                break;
            }
        }
        if (Clock::now() >= deadline || !Pause(kPollPause)) {
            break;
        }
    }
    if (!settled.m_bAnswered) {
        settled.m_pending.push_back("no graph from the discovery node within " +
                                    std::to_string(timeout.count() / 1000) + " s");
    }
    // Double answers are reported once, by the step that saw them.
    for (auto& slot : m_pSystem->Managers()) {
        if (slot->Current() != nullptr) {
            slot->Current()->m_reportedDoubles = slot->Current()->m_log.DoubleAnswers().size();
        }
    }
    for (const auto& removal : settled.m_removals) {
        m_watermarkUs = std::max(m_watermarkUs, removal.m_timeUs);
    }
    settled.m_seconds = SecondsSince(start);
    return settled;
}

std::string ZChaosCampaign::Resynchronise() {
    std::string done;
    std::vector<ZManagerSlot*> slots = {&m_pSystem->Host()};
    for (auto& slot : m_pSystem->Managers()) {
        slots.push_back(slot.get());
    }
    for (ZManagerSlot* slot : slots) {
        for (auto& older : slot->Superseded()) {
            if (older->m_pProcess->IsRunning()) {
                older->m_pProcess->Kill();
                done += " killed the older " + slot->UID() + ";";
            }
        }
        slot->Superseded().clear();
    }
    const ZSettled settled = Settle(nullptr, milliseconds(0));
    for (const auto& removal : m_pSystem->Observer().Removals()) {
        m_watermarkUs = std::max(m_watermarkUs, removal.m_timeUs);
    }
    char text[96];
    std::snprintf(text, sizeof text, " %s in %.1f s",
                  settled.m_pending.empty() ? "whole again" : "still not whole", settled.m_seconds);
    return "resynchronised:" + done + text;
}

void ZChaosCampaign::SampleHost(std::vector<std::string>& violations) {
    ZManagerSlot& host = m_pSystem->Host();
    if (!host.IsRunning()) {
        return;
    }
    const auto broken = m_resources.Add(ZResourceWatch::Read(host.Current()->m_pProcess->Pid()));
    violations.insert(violations.end(), broken.begin(), broken.end());
}

void ZChaosCampaign::Report(const std::string& label, const std::string& what, const ZSettled& settled,
                            std::vector<std::string> violations) {
    violations.insert(violations.end(), settled.m_violations.begin(), settled.m_violations.end());
    for (const auto& pending : settled.m_pending) {
        violations.push_back("after " + std::to_string(SettleTimeout().count() / 1000) + " s: " + pending);
    }
    SampleHost(violations);
    // A state that stays wrong (two nodes with one UID) is one violation, not one per step.
    std::vector<std::string> fresh;
    std::vector<std::string> still;
    for (const auto& violation : violations) {
        (m_standing.count(violation) > 0 ? still : fresh).push_back(violation);
    }
    m_standing = std::set<std::string>(violations.begin(), violations.end());
    std::map<std::string, int> removals;
    for (const auto& removal : settled.m_removals) {
        ++removals[removal.m_nodeManagerUID + " " + removal.m_reason];
    }
    std::string removed;
    for (const auto& [text, count] : removals) {
        removed += (removed.empty() ? "" : ", ") + text + (count > 1 ? " x" + std::to_string(count) : "");
    }
    const std::size_t managers = settled.m_graph.ManagerCount();
    char line[256];
    std::snprintf(line, sizeof line,
                  " | %s in %.1f s; checked %zu managers, %zu nodes, %zu connections, %zu logs",
                  !fresh.empty()  ? "VIOLATED"
                  : still.empty() ? "ok"
                                  : "still violated",
                  settled.m_seconds, managers, settled.m_graph.m_nodes.size() - managers,
                  settled.m_graph.m_edges.size(), m_pSystem->Running().size());
    std::printf("%s: %s%s, removals [%s]\n", label.c_str(), what.c_str(), line, removed.c_str());
    for (const auto& violation : fresh) {
        std::printf("  %s violation: %s\n", label.c_str(), violation.c_str());
    }
    for (const auto& violation : still) {
        std::printf("  %s still: %s\n", label.c_str(), violation.c_str());
    }
    m_violations += static_cast<int>(fresh.size());
    if (!violations.empty() && !StopRequested()) {
        std::printf("  %s\n", Resynchronise().c_str());
    }
    std::fflush(stdout);
}

void ZChaosCampaign::Step(int number) {
    std::vector<std::string> violations;
    std::vector<bool> started;
    // When the step began, as the processes' logs stamp their lines.
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    std::string what =
        ZInvariantChecker::ClockText(std::chrono::duration_cast<std::chrono::microseconds>(now).count()) +
        " ";
    what += StartDue(number, started, violations);
    // A manager just started is not registered yet: faults go to the others.
    std::vector<bool> eligible = m_pSystem->RunningMask();
    for (std::size_t i = 0; i < eligible.size(); ++i) {
        eligible[i] = eligible[i] && !started[i];
    }
    const ZStep step = m_schedule.Next(eligible);
    ZExpected expected;
    what += ApplyFaults(step, number, expected, violations);
    m_faults += static_cast<int>(step.m_faults.size());
    ++m_steps;
    // After a broker outage removals for silence may come a dead time later: the step waits them out.
    const bool outage = std::any_of(step.m_faults.begin(), step.m_faults.end(), [](const ZFault& fault) {
        return fault.m_kind == ZFaultKind::BrokerRestart;
    });
    const auto hold = outage ? milliseconds((m_options.m_deadTimeSecs + 2) * 1000) : milliseconds(0);
    const ZSettled settled = Settle(&expected, hold);
    Report("step " + std::to_string(number), what, settled, violations);
    // Older instances that left as they should are judged; they need no more looks.
    for (auto& slot : m_pSystem->Managers()) {
        auto& older = slot->Superseded();
        older.erase(std::remove_if(older.begin(), older.end(),
                                   [](const auto& instance) { return !instance->m_pProcess->IsRunning(); }),
                    older.end());
    }
}

std::string ZChaosCampaign::StartDue(int number, std::vector<bool>& started,
                                     std::vector<std::string>& violations) {
    std::string what;
    for (auto& slot : m_pSystem->Managers()) {
        started.push_back(slot->m_downUntilStep >= 0 && slot->m_downUntilStep <= number);
        if (!started.back()) {
            continue;
        }
        std::string error;
        if (!m_pSystem->StartManager(*slot, &error)) {
            violations.push_back("cannot start " + slot->UID() + ": " + error);
        }
        what += "start " + slot->UID() + "; ";
    }
    return what;
}

std::string ZChaosCampaign::ApplyFaults(const ZStep& step, int number, ZExpected& expected,
                                        std::vector<std::string>& violations) {
    std::vector<std::pair<Clock::time_point, ZFault>> ends;
    std::string what;
    for (const auto& fault : step.m_faults) {
        what += (what.empty() ? "" : " + ") + ApplyFault(fault, number, expected, violations, ends);
    }
    std::sort(ends.begin(), ends.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [due, fault] : ends) {
        Pause(std::chrono::duration_cast<milliseconds>(due - Clock::now()));
        EndFault(fault);
    }
    return what;
}

std::string ZChaosCampaign::ApplyFault(const ZFault& fault, int number, ZExpected& expected,
                                       std::vector<std::string>& violations,
                                       std::vector<std::pair<Clock::time_point, ZFault>>& ends) {
    const std::string description = Describe(fault, ManagerUIDs());
    ZManagerSlot* slot =
        fault.m_slot >= 0 ? m_pSystem->Managers()[static_cast<std::size_t>(fault.m_slot)].get() : nullptr;
    const std::string uid = slot != nullptr ? slot->UID() : std::string();
    const auto until = Clock::now() + milliseconds(fault.m_durationMs);
    std::string error;
    switch (fault.m_kind) {
        case ZFaultKind::Kill:
            slot->Kill();
            slot->m_downUntilStep = number + fault.m_downSteps;
            expected.push_back({uid, {kConnectionLost}, 1, 1});
            break;
        case ZFaultKind::CleanStop: {
            const int code = slot->Stop(kStopTimeout);
            if (code != 0) {
                violations.push_back(uid + " exited with code " + std::to_string(code) +
                                     " on SIGTERM, not 0");
            }
            slot->m_downUntilStep = number + fault.m_downSteps;
            expected.push_back({uid, {kRequest}, 1, 1});
            break;
        }
        case ZFaultKind::FreezeShort:
        case ZFaultKind::FreezeLong:
            slot->Freeze();
            ends.emplace_back(until, fault);
            if (fault.m_kind == ZFaultKind::FreezeLong) {
                // A freeze longer than the keep-alive could also end in the broker's will.
                expected.push_back({uid, {kSilence, kConnectionLost}, 1, 1});
            }
            break;
        case ZFaultKind::RestartSession:
            slot->Kill();
            if (!m_pSystem->StartManager(*slot, &error)) {
                violations.push_back("cannot start " + uid + ": " + error);
            }
            // The killed instance's will, or the new registration, whichever the discovery node
            // hears first; the other must not remove the new instance.
            expected.push_back({uid, {kConnectionLost, kNewSession}, 1, 1});
            break;
        case ZFaultKind::SecondInstance: {
            slot->Freeze();
            if (!slot->StartSecond(m_pSystem->URLFor(*slot), &error)) {
                violations.push_back("cannot start a second " + uid + ": " + error);
                slot->Thaw();
                break;
            }
            // The newer instance registers while the older one is frozen; then the older one wakes.
            const auto deadline = Clock::now() + SettleTimeout();
            while (Clock::now() < deadline && !slot->Current()->Log().IsRegistered() && slot->IsRunning() &&
                   Pause(milliseconds(100))) {
            }
            if (!slot->Current()->Log().IsRegistered()) {
                violations.push_back("the second instance of " + uid + " did not register within " +
                                     std::to_string(SettleTimeout().count() / 1000) + " s");
            }
            slot->Superseded().back()->m_pProcess->Thaw();
            // The older instance goes, by the newer one's registration or by its own will; once it
            // wakes it may take the newer one's connection once before it notices.
            expected.push_back({uid, {kNewSession, kConnectionLost}, 1, 2});
            break;
        }
        case ZFaultKind::DiscoveryRestart:
            if (!m_pSystem->RestartHost(&error)) {
                violations.push_back("cannot start the discovery host: " + error);
            }
            m_resources.NewLifetime();
            break;
        case ZFaultKind::BrokerRestart:
            if (!m_pSystem->RestartBroker(&error)) {
                violations.push_back("cannot start the broker: " + error);
            }
            // A broker going down publishes the wills of the clients it drops before the discovery
            // host's; managers silent through the outage for longer than the dead time go too.
            expected.push_back({ZSystemPlan::kHostUID, {kSilence}, 0, 1});
            for (auto& other : m_pSystem->Managers()) {
                if (other->IsRunning()) {
                    expected.push_back({other->UID(), {kConnectionLost, kSilence}, 0, 1});
                }
            }
            break;
        case ZFaultKind::LinkCut:
            m_pSystem->Relay().Cut();
            expected.push_back({uid, {kConnectionLost}, 1, 1});
            break;
        case ZFaultKind::LinkStallShort:
        case ZFaultKind::LinkStallLong:
            m_pSystem->Relay().SetStalled(true);
            ends.emplace_back(until, fault);
            if (fault.m_kind == ZFaultKind::LinkStallLong) {
                expected.push_back({uid, {kSilence, kConnectionLost}, 1, 1});
            }
            break;
    }
    return description;
}

void ZChaosCampaign::EndFault(const ZFault& fault) {
    switch (fault.m_kind) {
        case ZFaultKind::FreezeShort:
        case ZFaultKind::FreezeLong:
            m_pSystem->Managers()[static_cast<std::size_t>(fault.m_slot)]->Thaw();
            break;
        case ZFaultKind::LinkStallShort:
        case ZFaultKind::LinkStallLong:
            m_pSystem->Relay().SetStalled(false);
            break;
        default:
            break;
    }
}
