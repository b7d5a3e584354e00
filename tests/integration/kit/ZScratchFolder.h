#pragma once

#include <string>

// A fresh folder under /tmp for one test's configurations and logs, removed with the object unless
// asked to keep it (a failing test keeps its logs for whoever reads the failure).
class ZScratchFolder {
public:
    explicit ZScratchFolder(const std::string& prefix);
    ~ZScratchFolder();
    ZScratchFolder(const ZScratchFolder&) = delete;
    ZScratchFolder& operator=(const ZScratchFolder&) = delete;

    // Empty when the folder could not be made.
    const std::string& Path() const { return m_path; }
    void Keep() { m_bKeep = true; }

private:
    std::string m_path;
    bool m_bKeep = false;
};
