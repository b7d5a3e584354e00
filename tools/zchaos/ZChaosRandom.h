#pragma once

#include <cstdint>

// The campaign's only source of chance: splitmix64 from the seed, with its own mapping to ranges,
// so that a seed draws the same system and the same faults with any standard library.
class ZChaosRandom {
public:
    explicit ZChaosRandom(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t Next();
    // Uniform in [0, n); 0 when n is 0.
    std::uint64_t Below(std::uint64_t n);
    // Uniform in [low, high]; low when high < low.
    std::int64_t Between(std::int64_t low, std::int64_t high);
    // True with the probability percent / 100.
    bool Percent(int percent);

private:
    std::uint64_t m_state;
};
