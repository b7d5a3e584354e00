#include "ZChaosRandom.h"

std::uint64_t ZChaosRandom::Next() {
    std::uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

std::uint64_t ZChaosRandom::Below(std::uint64_t n) {
    if (n == 0) {
        return 0;
    }
    // Rejection keeps ranges unbiased; a draw is rejected with a chance below n / 2^64, so the
    // bound is never reached in practice.
    const std::uint64_t limit = ~std::uint64_t{0} - (~std::uint64_t{0} % n);
    std::uint64_t value = Next();
    for (int tries = 0; tries < 64 && value >= limit; ++tries) {
        value = Next();
    }
    return value % n;
}

std::int64_t ZChaosRandom::Between(std::int64_t low, std::int64_t high) {
    if (high <= low) {
        return low;
    }
    return low + static_cast<std::int64_t>(Below(static_cast<std::uint64_t>(high - low) + 1));
}

bool ZChaosRandom::Percent(int percent) {
    return static_cast<int>(Below(100)) < percent;
}
