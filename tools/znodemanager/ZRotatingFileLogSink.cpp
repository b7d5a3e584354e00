#include "ZRotatingFileLogSink.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "ZShared/ZStderrLogSink.h"

ZRotatingFileLogSink::ZRotatingFileLogSink(std::string path, std::int64_t maxBytes, std::int32_t maxFiles)
    : m_path(std::move(path)), m_maxBytes(maxBytes), m_maxFiles(maxFiles) {}

ZRotatingFileLogSink::~ZRotatingFileLogSink() {
    if (m_pFile != nullptr) {
        std::fclose(m_pFile);
    }
}

bool ZRotatingFileLogSink::Open(std::string& error) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pFile = std::fopen(m_path.c_str(), "ae");
    if (m_pFile == nullptr) {
        error = "cannot open <" + m_path + ">: " + std::strerror(errno);
        return false;
    }
    std::error_code ignored;
    const auto size = std::filesystem::file_size(m_path, ignored);
    m_size = ignored ? 0 : static_cast<std::int64_t>(size);
    return true;
}

void ZRotatingFileLogSink::Write(const ZLogRecord& record) {
    WriteLine(ZStderrLogSink::Format(record));
}

void ZRotatingFileLogSink::WriteLine(const std::string& text) {
    const std::string line = text + "\n";
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_pFile == nullptr) {
        return;
    }
    if (m_maxBytes > 0 && m_size > 0 && m_size + static_cast<std::int64_t>(line.size()) > m_maxBytes) {
        Rotate();
        if (m_pFile == nullptr) {
            return;
        }
    }
    if (std::fwrite(line.data(), 1, line.size(), m_pFile) == line.size()) {
        m_size += static_cast<std::int64_t>(line.size());
    }
    std::fflush(m_pFile);
}

void ZRotatingFileLogSink::Rotate() {
    std::fclose(m_pFile);
    m_pFile = nullptr;
    std::error_code ignored;
    if (m_maxFiles <= 0) {
        std::filesystem::remove(m_path, ignored);
    } else {
        std::filesystem::remove(m_path + "." + std::to_string(m_maxFiles), ignored);
        for (std::int32_t i = m_maxFiles - 1; i >= 1; --i) {
            std::filesystem::rename(m_path + "." + std::to_string(i), m_path + "." + std::to_string(i + 1),
                                    ignored);
        }
        std::filesystem::rename(m_path, m_path + ".1", ignored);
    }
    m_pFile = std::fopen(m_path.c_str(), "ae");
    m_size = 0;
}
