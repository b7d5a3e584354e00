#pragma once

#include <cstddef>
#include <memory>
#include <vector>

class ZNode;

// Runs node pumps on the test thread, so a conversation between nodes plays out step by step
// without a pump thread.
class ZPumpDriver {
public:
    // Delivers what the node has queued, then lets it idle once; returns the count delivered.
    std::size_t Run(ZNode& node);
    // Runs each node in turn, round after round, until a whole round delivers nothing or
    // `maxRounds` have run; returns the count delivered.
    std::size_t RunUntilQuiet(const std::vector<std::shared_ptr<ZNode>>& nodes, std::size_t maxRounds = 100);
    std::size_t RunUntilQuiet(const std::vector<ZNode*>& nodes, std::size_t maxRounds = 100);

    // Whether the last RunUntilQuiet ended on a quiet round rather than on the limit.
    bool WasQuiet() const { return m_bQuiet; }
    std::size_t Rounds() const { return m_rounds; }

private:
    bool m_bQuiet = false;
    std::size_t m_rounds = 0;
};
