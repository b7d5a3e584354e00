#include "ZScratchFolder.h"

#include <stdlib.h>

#include <filesystem>
#include <vector>

ZScratchFolder::ZScratchFolder(const std::string& prefix) {
    std::string pattern = "/tmp/" + prefix + "-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (::mkdtemp(buffer.data()) != nullptr) {
        m_path = buffer.data();
    }
}

ZScratchFolder::~ZScratchFolder() {
    if (!m_path.empty() && !m_bKeep) {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
}
