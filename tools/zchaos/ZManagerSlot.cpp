#include "ZManagerSlot.h"

#include <cstdio>
#include <filesystem>

const ZManagerLog& ZManagerSlot::ZInstance::Log() {
    m_log.Update(m_pProcess->LogText());
    return m_log;
}

ZManagerSlot::ZManagerSlot(ZManagerPlan plan, ZNodeManagerProcess::ZPrograms programs, std::string root)
    : m_plan(std::move(plan)), m_programs(std::move(programs)), m_root(std::move(root)) {}

std::unique_ptr<ZManagerSlot::ZInstance> ZManagerSlot::MakeInstance(const std::string& url,
                                                                    std::string* error) {
    char run[16];
    std::snprintf(run, sizeof run, "run%03d", ++m_runs);
    const std::string folder = m_root + "/" + m_plan.m_uid + "/" + run;
    std::error_code failed;
    std::filesystem::create_directories(folder, failed);
    if (failed) {
        if (error != nullptr) {
            *error = "cannot make " + folder + ": " + failed.message();
        }
        return nullptr;
    }
    auto instance = std::make_unique<ZInstance>();
    instance->m_run = m_runs;
    instance->m_pProcess = std::make_unique<ZNodeManagerProcess>(m_programs, m_plan.Config(), folder);
    if (!instance->m_pProcess->Start(url, error)) {
        return nullptr;
    }
    return instance;
}

bool ZManagerSlot::Start(const std::string& url, std::string* error) {
    if (m_pCurrent && m_pCurrent->m_pProcess->IsRunning()) {
        if (error != nullptr) {
            *error = m_plan.m_uid + " runs already";
        }
        return false;
    }
    auto instance = MakeInstance(url, error);
    if (!instance) {
        return false;
    }
    m_pCurrent = std::move(instance);
    m_downUntilStep = -1;
    return true;
}

bool ZManagerSlot::StartSecond(const std::string& url, std::string* error) {
    auto instance = MakeInstance(url, error);
    if (!instance) {
        return false;
    }
    if (m_pCurrent) {
        m_superseded.push_back(std::move(m_pCurrent));
    }
    m_pCurrent = std::move(instance);
    return true;
}

bool ZManagerSlot::IsRunning() {
    return m_pCurrent && m_pCurrent->m_pProcess->IsRunning();
}

void ZManagerSlot::Kill() {
    if (m_pCurrent) {
        m_pCurrent->m_pProcess->Kill();
    }
}

int ZManagerSlot::Stop(std::chrono::milliseconds timeout) {
    return m_pCurrent ? m_pCurrent->m_pProcess->Stop(timeout) : -1;
}

bool ZManagerSlot::Freeze() {
    return m_pCurrent && m_pCurrent->m_pProcess->Freeze();
}

bool ZManagerSlot::Thaw() {
    return m_pCurrent && m_pCurrent->m_pProcess->Thaw();
}
