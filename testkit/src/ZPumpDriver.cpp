#include "ZTestKit/ZPumpDriver.h"

#include "NodeBase/ZNode.h"

std::size_t ZPumpDriver::Run(ZNode& node) {
    return node.PumpUntilIdle();
}

std::size_t ZPumpDriver::RunUntilQuiet(const std::vector<std::shared_ptr<ZNode>>& nodes,
                                       std::size_t maxRounds) {
    std::vector<ZNode*> raw;
    raw.reserve(nodes.size());
    for (const auto& node : nodes) {
        raw.push_back(node.get());
    }
    return RunUntilQuiet(raw, maxRounds);
}

std::size_t ZPumpDriver::RunUntilQuiet(const std::vector<ZNode*>& nodes, std::size_t maxRounds) {
    m_bQuiet = false;
    m_rounds = 0;
    std::size_t total = 0;
    while (m_rounds < maxRounds) {
        ++m_rounds;
        std::size_t round = 0;
        for (ZNode* node : nodes) {
            if (node != nullptr) {
                round += Run(*node);
            }
        }
        total += round;
        if (round == 0) {
            m_bQuiet = true;
            break;
        }
    }
    return total;
}
