#pragma once

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>

// The demo's story: one line per event, with the time since the demo started and who acted.
// Lines come from every pump thread, so printing is serialised.
class ZDemoTimeline {
public:
    static ZDemoTimeline& Get();

    void Start();
    void Print(const std::string& who, const std::string& what);
    // A heading between the demo's phases.
    void Phase(const std::string& title);
    double SecondsSinceStart() const;

private:
    ZDemoTimeline() = default;

    mutable std::mutex m_mutex;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};
