#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

// Whether the discovery host's memory (VmRSS) and open descriptors grow with the faults. Samples are
// taken once the system has settled after a step; each run of the host is judged on its own. The
// first samples of a run are its warm-up (the graph is built, buffers and allocator pools reach
// their working size); the sample that ends it is the baseline, and every later one must stay
// within the tolerance of it.
class ZResourceWatch {
public:
    struct ZSample {
        std::int64_t m_rssKiB = -1;
        int m_descriptors = -1;
    };

    // Tolerances: the RSS may exceed the baseline by the larger of rssSlackKiB and rssPercent of it;
    // descriptors by descriptorSlack.
    ZResourceWatch(int warmupSamples, std::int64_t rssSlackKiB, int rssPercent, int descriptorSlack);

    // /proc/<pid>/status and /proc/<pid>/fd; -1 for what cannot be read.
    static ZSample Read(pid_t pid);

    // A new run of the host begins.
    void NewLifetime();
    // Adds a sample of the current run; a line for each tolerance it breaks for the first time in
    // this run.
    std::vector<std::string> Add(const ZSample& sample);

    const ZSample& First() const { return m_first; }
    const ZSample& Last() const { return m_last; }
    bool HasBaseline() const { return m_samples > m_warmup; }

private:
    const int m_warmup;
    const std::int64_t m_rssSlackKiB;
    const int m_rssPercent;
    const int m_descriptorSlack;
    int m_samples = 0;
    ZSample m_baseline;
    ZSample m_first;  // the first sample of the whole campaign
    ZSample m_last;
    bool m_bRssReported = false;
    bool m_bDescriptorsReported = false;
};
