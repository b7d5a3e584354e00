#include "ZDemoTimeline.h"

ZDemoTimeline& ZDemoTimeline::Get() {
    static ZDemoTimeline timeline;
    return timeline;
}

void ZDemoTimeline::Start() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_start = std::chrono::steady_clock::now();
}

double ZDemoTimeline::SecondsSinceStart() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
}

void ZDemoTimeline::Print(const std::string& who, const std::string& what) {
    const double seconds = SecondsSinceStart();
    std::lock_guard<std::mutex> lock(m_mutex);
    std::printf("%7.3f s  %-16s %s\n", seconds, who.c_str(), what.c_str());
    std::fflush(stdout);
}

void ZDemoTimeline::Phase(const std::string& title) {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::printf("\n== %s\n", title.c_str());
    std::fflush(stdout);
}
