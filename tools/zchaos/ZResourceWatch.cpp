#include "ZResourceWatch.h"

#include <dirent.h>

#include <algorithm>
#include <fstream>

ZResourceWatch::ZResourceWatch(int warmupSamples, std::int64_t rssSlackKiB, int rssPercent,
                               int descriptorSlack)
    : m_warmup(std::max(warmupSamples, 1)),
      m_rssSlackKiB(rssSlackKiB),
      m_rssPercent(rssPercent),
      m_descriptorSlack(descriptorSlack) {}

ZResourceWatch::ZSample ZResourceWatch::Read(pid_t pid) {
    ZSample sample;
    const std::string proc = "/proc/" + std::to_string(pid);
    std::ifstream status(proc + "/status");
    std::string key;
    while (status >> key) {
        if (key == "VmRSS:") {
            status >> sample.m_rssKiB;
            break;
        }
        status.ignore(4096, '\n');
    }
    if (DIR* folder = ::opendir((proc + "/fd").c_str())) {
        int count = 0;
        while (const dirent* entry = ::readdir(folder)) {
            count += entry->d_name[0] != '.' ? 1 : 0;
        }
        ::closedir(folder);
        sample.m_descriptors = count;
    }
    return sample;
}

void ZResourceWatch::NewLifetime() {
    m_samples = 0;
    m_baseline = ZSample();
    m_bRssReported = false;
    m_bDescriptorsReported = false;
}

std::vector<std::string> ZResourceWatch::Add(const ZSample& sample) {
    std::vector<std::string> broken;
    if (sample.m_rssKiB < 0 || sample.m_descriptors < 0) {
        return broken;
    }
    if (m_first.m_rssKiB < 0) {
        m_first = sample;
    }
    m_last = sample;
    ++m_samples;
    if (m_samples <= m_warmup) {
        // The baseline is the largest of the warm-up: a working set, not a quiet moment.
        m_baseline.m_rssKiB = std::max(m_baseline.m_rssKiB, sample.m_rssKiB);
        m_baseline.m_descriptors = std::max(m_baseline.m_descriptors, sample.m_descriptors);
        return broken;
    }
    const std::int64_t rssLimit =
        m_baseline.m_rssKiB + std::max(m_rssSlackKiB, m_baseline.m_rssKiB * m_rssPercent / 100);
    if (sample.m_rssKiB > rssLimit && !m_bRssReported) {
        m_bRssReported = true;
        broken.push_back("discovery host VmRSS " + std::to_string(sample.m_rssKiB) + " KiB, over " +
                         std::to_string(rssLimit) + " KiB (baseline " + std::to_string(m_baseline.m_rssKiB) +
                         " KiB after warm-up)");
    }
    const int descriptorLimit = m_baseline.m_descriptors + m_descriptorSlack;
    if (sample.m_descriptors > descriptorLimit && !m_bDescriptorsReported) {
        m_bDescriptorsReported = true;
        broken.push_back("discovery host holds " + std::to_string(sample.m_descriptors) +
                         " descriptors, over " + std::to_string(descriptorLimit) + " (baseline " +
                         std::to_string(m_baseline.m_descriptors) + " after warm-up)");
    }
    return broken;
}
