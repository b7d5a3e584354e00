#include "ZSystemPlan.h"

#include <algorithm>

namespace {

std::string ManagerUID(int index, int managers) {
    std::string number = std::to_string(index + 1);
    const std::size_t width = std::max<std::size_t>(2, std::to_string(managers).size());
    if (number.size() < width) {
        number.insert(0, width - number.size(), '0');
    }
    return "NM" + number;
}

std::vector<const ZManagerPlan::ZNode*> NamedNodes(const ZManagerPlan& plan) {
    std::vector<const ZManagerPlan::ZNode*> named;
    for (const auto& node : plan.m_nodes) {
        if (!node.m_uid.empty()) {
            named.push_back(&node);
        }
    }
    return named;
}

}  // namespace

ZSystemPlan::ZSystemPlan(ZChaosRandom& random, int managers, int discoveryDeadTimeSecs)
    : m_discoveryDeadTimeSecs(discoveryDeadTimeSecs) {
    m_host.m_uid = kHostUID;
    m_host.m_deadTimeSecs = discoveryDeadTimeSecs;
    m_host.m_discoveryDeadTimeSecs = discoveryDeadTimeSecs;
    for (int i = 0; i < managers; ++i) {
        ZManagerPlan plan;
        plan.m_uid = ManagerUID(i, managers);
        plan.m_deadTimeSecs = DrawDeadTime(random);
        DrawNodes(random, plan);
        m_managers.push_back(std::move(plan));
    }
    // Connections once every manager has its nodes: a cross connection needs the far end's UID.
    for (std::size_t i = 0; i < m_managers.size(); ++i) {
        DrawEdges(random, i);
    }
    if (managers > 0) {
        m_relayed = static_cast<int>(random.Below(static_cast<std::uint64_t>(managers)));
        m_managers[static_cast<std::size_t>(m_relayed)].m_bRelayed = true;
    }
}

int ZSystemPlan::DrawDeadTime(ZChaosRandom& random) const {
    // A third each: the discovery node's, shorter, longer. Longer ones show whether a manager keeps
    // pace with a discovery node that is stricter than its own configuration.
    const int roll = static_cast<int>(random.Below(3));
    if (roll == 1 && m_discoveryDeadTimeSecs > 1) {
        return static_cast<int>(random.Between(1, m_discoveryDeadTimeSecs - 1));
    }
    if (roll == 2 && m_discoveryDeadTimeSecs < kMaxDeadTimeSecs) {
        return static_cast<int>(random.Between(m_discoveryDeadTimeSecs + 1, kMaxDeadTimeSecs));
    }
    return m_discoveryDeadTimeSecs;
}

void ZSystemPlan::DrawNodes(ZChaosRandom& random, ZManagerPlan& plan) const {
    const int count = static_cast<int>(random.Between(1, kMaxNodes));
    for (int k = 1; k <= count; ++k) {
        ZManagerPlan::ZNode node;
        node.m_name = "n" + std::to_string(k);
        if (random.Percent(60)) {
            node.m_uid = plan.m_uid + "-" + node.m_name;
        }
        plan.m_nodes.push_back(std::move(node));
    }
}

void ZSystemPlan::DrawEdges(ZChaosRandom& random, std::size_t index) {
    ZManagerPlan& plan = m_managers[index];
    const auto named = NamedNodes(plan);
    int next = 1;
    const auto add = [&plan, &next](const std::string& from, const std::string& to, bool cross) {
        const std::string n = std::to_string(next++);
        plan.m_edges.push_back(
            ZManagerPlan::ZEdge{"status/" + from + "/out" + n, "control/" + to + "/in" + n, cross});
    };
    if (named.size() >= 2) {
        const int edges = static_cast<int>(random.Between(0, 2));
        for (int e = 0; e < edges; ++e) {
            const std::size_t from = random.Below(named.size());
            std::size_t to = random.Below(named.size() - 1);
            to += to >= from ? 1 : 0;
            add(named[from]->m_uid, named[to]->m_uid, false);
        }
    }
    if (!named.empty() && m_managers.size() > 1 && random.Percent(30)) {
        std::size_t other = random.Below(m_managers.size() - 1);
        other += other >= index ? 1 : 0;
        const auto far = NamedNodes(m_managers[other]);
        if (!far.empty()) {
            add(named[random.Below(named.size())]->m_uid, far[random.Below(far.size())]->m_uid, true);
        }
    }
}
