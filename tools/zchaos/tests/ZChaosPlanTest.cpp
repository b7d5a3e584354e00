// What a seed draws: the system and the faults. The same seed must give the same campaign, or a
// failure could not be replayed.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "ZFaultSchedule.h"
#include "ZSystemPlan.h"

namespace {

constexpr int kDeadTime = 3;

std::string Text(const ZSystemPlan& plan) {
    std::string text;
    for (const auto& manager : plan.Managers()) {
        text += manager.m_uid + ":" + std::to_string(manager.m_deadTimeSecs) +
                (manager.m_bRelayed ? "R" : "") + "[";
        for (const auto& node : manager.m_nodes) {
            text += node.m_name + "=" + node.m_uid + ",";
        }
        for (const auto& edge : manager.m_edges) {
            text += edge.m_from + ">" + edge.m_to + ",";
        }
        text += "]";
    }
    return text;
}

std::string Text(const ZStep& step) {
    std::string text;
    for (const auto& fault : step.m_faults) {
        text += std::to_string(static_cast<int>(fault.m_kind)) + "/" + std::to_string(fault.m_slot) + "/" +
                std::to_string(fault.m_durationMs) + "/" + std::to_string(fault.m_downSteps) + ";";
    }
    return text;
}

// Steps drawn as the campaign would draw them, killed and stopped managers down for their steps.
std::vector<ZStep> Campaign(std::uint64_t seed, int managers, int steps) {
    ZChaosRandom random(seed);
    const ZSystemPlan plan(random, managers, kDeadTime);
    ZFaultSchedule schedule(random, managers, plan.RelayedIndex(), kDeadTime);
    std::vector<int> downUntil(static_cast<std::size_t>(managers), -1);
    std::vector<ZStep> drawn;
    for (int number = 1; number <= steps; ++number) {
        std::vector<bool> running;
        for (auto& until : downUntil) {
            if (until >= 0 && until <= number) {
                until = -1;
            }
            running.push_back(until < 0);
        }
        drawn.push_back(schedule.Next(running));
        for (const auto& fault : drawn.back().m_faults) {
            if (fault.m_slot >= 0) {
                EXPECT_TRUE(running[static_cast<std::size_t>(fault.m_slot)])
                    << number << ": " << Text(drawn.back());
            }
            if (fault.m_downSteps > 0) {
                downUntil[static_cast<std::size_t>(fault.m_slot)] = number + fault.m_downSteps;
            }
        }
    }
    return drawn;
}

}  // namespace

TEST(ZChaosPlanTest, SameSeedDrawsTheSameSystemAndFaults) {
    ZChaosRandom a(42);
    ZChaosRandom b(42);
    ZChaosRandom c(43);
    const std::string first = Text(ZSystemPlan(a, 8, kDeadTime));
    EXPECT_EQ(first, Text(ZSystemPlan(b, 8, kDeadTime)));
    EXPECT_NE(first, Text(ZSystemPlan(c, 8, kDeadTime)));

    const auto steps = Campaign(42, 8, 200);
    const auto again = Campaign(42, 8, 200);
    ASSERT_EQ(steps.size(), again.size());
    for (std::size_t i = 0; i < steps.size(); ++i) {
        EXPECT_EQ(Text(steps[i]), Text(again[i])) << "step " << i + 1;
    }
}

TEST(ZChaosPlanTest, SystemHasDeadTimesOnBothSidesAndConnectionsBetweenNamedNodes) {
    ZChaosRandom random(7);
    const ZSystemPlan plan(random, 100, kDeadTime);
    ASSERT_EQ(plan.Managers().size(), 100u);
    EXPECT_EQ(plan.Managers().front().m_uid, "NM001");
    EXPECT_TRUE(plan.Host().HostsDiscovery());
    std::map<std::string, int> sides;
    std::set<std::string> uids;
    int relayed = 0;
    int unnamed = 0;
    int cross = 0;
    for (const auto& manager : plan.Managers()) {
        const int dead = manager.m_deadTimeSecs;
        EXPECT_TRUE(dead >= 1 && dead <= ZSystemPlan::kMaxDeadTimeSecs) << dead;
        ++sides[dead < kDeadTime ? "shorter" : dead > kDeadTime ? "longer" : "same"];
        relayed += manager.m_bRelayed ? 1 : 0;
        EXPECT_TRUE(!manager.m_nodes.empty() && manager.m_nodes.size() <= ZSystemPlan::kMaxNodes);
        for (const auto& node : manager.m_nodes) {
            unnamed += node.m_uid.empty() ? 1 : 0;
            EXPECT_TRUE(node.m_uid.empty() || uids.insert(node.m_uid).second) << node.m_uid;
        }
        for (const auto& edge : manager.m_edges) {
            cross += edge.m_bCross ? 1 : 0;
            const std::string from = edge.m_from.substr(7, edge.m_from.rfind('/') - 7);
            EXPECT_EQ(from.rfind(manager.m_uid + "-", 0), 0u) << edge.m_from;
            EXPECT_EQ(edge.m_to.rfind("control/", 0), 0u) << edge.m_to;
        }
    }
    for (const auto& edge : [&plan] {
             std::vector<ZManagerPlan::ZEdge> all;
             for (const auto& manager : plan.Managers()) {
                 all.insert(all.end(), manager.m_edges.begin(), manager.m_edges.end());
             }
             return all;
         }()) {
        const std::string to = edge.m_to.substr(8, edge.m_to.rfind('/') - 8);
        EXPECT_EQ(uids.count(to), 1u) << edge.m_to;
    }
    EXPECT_EQ(relayed, 1);
    EXPECT_GT(unnamed, 0);
    EXPECT_GT(cross, 0);
    EXPECT_GT(sides["shorter"], 10);
    EXPECT_GT(sides["longer"], 10);
    EXPECT_GT(sides["same"], 10);
}

TEST(ZChaosPlanTest, ScheduleDrawsEveryFaultWithinItsBounds) {
    ZChaosRandom random(1);
    const ZFaultSchedule schedule(random, 8, 0, kDeadTime);
    std::map<ZFaultKind, int> kinds;
    int overlapping = 0;
    for (const auto& step : Campaign(1, 8, 2000)) {
        overlapping += step.m_faults.size() > 1 ? 1 : 0;
        if (step.m_faults.size() > 1) {
            EXPECT_NE(step.m_faults[0].m_slot, step.m_faults[1].m_slot);
        }
        for (const auto& fault : step.m_faults) {
            ++kinds[fault.m_kind];
            switch (fault.m_kind) {
                case ZFaultKind::FreezeShort:
                case ZFaultKind::LinkStallShort:
                    EXPECT_GE(fault.m_durationMs, schedule.ShortestMs());
                    // Clear of the dead time even with a sign of life a third of it old.
                    EXPECT_LE(fault.m_durationMs + kDeadTime * 1000 / 3, kDeadTime * 1000 - 1000);
                    break;
                case ZFaultKind::FreezeLong:
                case ZFaultKind::LinkStallLong:
                    EXPECT_GT(fault.m_durationMs, (kDeadTime + 2) * 1000);
                    break;
                case ZFaultKind::Kill:
                case ZFaultKind::CleanStop:
                    EXPECT_TRUE(fault.m_downSteps >= 1 && fault.m_downSteps <= 3);
                    break;
                case ZFaultKind::DiscoveryRestart:
                case ZFaultKind::BrokerRestart:
                    EXPECT_EQ(fault.m_slot, -1);
                    break;
                default:
                    break;
            }
        }
    }
    EXPECT_EQ(kinds.size(), 11u);
    EXPECT_GT(overlapping, 100);
}

TEST(ZChaosPlanTest, LinkFaultsGoToTheRelayedManagerAndHalfTheManagersStayUp) {
    ZChaosRandom random(5);
    const ZSystemPlan plan(random, 4, kDeadTime);
    ZFaultSchedule schedule(random, 4, plan.RelayedIndex(), kDeadTime);
    std::vector<bool> running(4, true);
    running[static_cast<std::size_t>((plan.RelayedIndex() + 1) % 4)] = false;
    for (int i = 0; i < 500; ++i) {
        for (const auto& fault : schedule.Next(running).m_faults) {
            const bool link = fault.m_kind == ZFaultKind::LinkCut ||
                              fault.m_kind == ZFaultKind::LinkStallShort ||
                              fault.m_kind == ZFaultKind::LinkStallLong;
            if (link) {
                EXPECT_EQ(fault.m_slot, plan.RelayedIndex());
            }
            // One of four is down already: a second may go down, a third not.
            EXPECT_TRUE(fault.m_slot < 0 || running[static_cast<std::size_t>(fault.m_slot)]);
        }
    }
    running.assign(4, false);
    running[0] = running[1] = true;
    for (int i = 0; i < 500; ++i) {
        for (const auto& fault : schedule.Next(running).m_faults) {
            EXPECT_NE(fault.m_kind, ZFaultKind::Kill);
            EXPECT_NE(fault.m_kind, ZFaultKind::CleanStop);
        }
    }
}

TEST(ZChaosPlanTest, DescribesFaultsWithTheManagersUIDs) {
    EXPECT_EQ(Describe({ZFaultKind::Kill, 1, 0, 2}, {"NM01", "NM02"}), "kill NM02 (down 2 steps)");
    EXPECT_EQ(Describe({ZFaultKind::FreezeLong, 0, 6200, 0}, {"NM01"}), "long freeze NM01 6.2 s");
    EXPECT_EQ(Describe({ZFaultKind::BrokerRestart, -1, 0, 0}, {"NM01"}), "broker restart");
}
