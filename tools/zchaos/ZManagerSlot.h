#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "ZManagerLog.h"
#include "ZManagerPlan.h"
#include "ZNodeManagerProcess.h"

// One node manager of the campaign across its runs. Every start is a new instance with a folder
// and log of its own (<root>/<UID>/run<N>/), so each run's log says what that run did. A second
// instance started beside a running one makes the first "superseded": it must leave by itself.
class ZManagerSlot {
public:
    struct ZInstance {
        std::unique_ptr<ZNodeManagerProcess> m_pProcess;
        ZManagerLog m_log;
        int m_run = 0;
        std::size_t m_reportedDoubles = 0;  // double answers of its log already reported

        // Reads what the log gained since the last look.
        const ZManagerLog& Log();
    };

    ZManagerSlot(ZManagerPlan plan, ZNodeManagerProcess::ZPrograms programs, std::string root);

    const ZManagerPlan& Plan() const { return m_plan; }
    const std::string& UID() const { return m_plan.m_uid; }

    // A new instance on the broker URL in place of the current one, which must have gone.
    bool Start(const std::string& url, std::string* error);
    // A new instance beside the current one, which becomes superseded.
    bool StartSecond(const std::string& url, std::string* error);
    bool IsRunning();
    ZInstance* Current() { return m_pCurrent.get(); }
    std::vector<std::unique_ptr<ZInstance>>& Superseded() { return m_superseded; }

    void Kill();
    // SIGTERM; the exit code, or -1 when it had to be killed.
    int Stop(std::chrono::milliseconds timeout);
    bool Freeze();
    bool Thaw();

    // Steps: until which one a killed or stopped manager stays down; -1 when it is up.
    int m_downUntilStep = -1;

private:
    std::unique_ptr<ZInstance> MakeInstance(const std::string& url, std::string* error);

    ZManagerPlan m_plan;
    ZNodeManagerProcess::ZPrograms m_programs;
    std::string m_root;
    int m_runs = 0;
    std::unique_ptr<ZInstance> m_pCurrent;
    std::vector<std::unique_ptr<ZInstance>> m_superseded;
};
