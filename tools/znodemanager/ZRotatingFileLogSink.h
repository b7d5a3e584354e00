#pragma once

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

#include "ZShared/ZLogSink.h"

// A log file that does not fill the disk: lines in the stderr form, appended; once the file would
// pass its size it becomes FILE.1 (FILE.1 becomes FILE.2, and so on) and a new FILE begins, keeping
// at most the given number of rotated files. A line that cannot be written is dropped, never
// retried: logging must not stop the host.
class ZRotatingFileLogSink : public ZLogSink {
public:
    ZRotatingFileLogSink(std::string path, std::int64_t maxBytes, std::int32_t maxFiles);
    ~ZRotatingFileLogSink() override;
    ZRotatingFileLogSink(const ZRotatingFileLogSink&) = delete;
    ZRotatingFileLogSink& operator=(const ZRotatingFileLogSink&) = delete;

    // Opens the file for appending; false with the reason ("cannot open <path>: ...").
    bool Open(std::string& error);
    void Write(const ZLogRecord& record) override;
    // One line as it stands; the newline is added.
    void WriteLine(const std::string& line);

private:
    void Rotate();

    const std::string m_path;
    const std::int64_t m_maxBytes;
    const std::int32_t m_maxFiles;
    std::mutex m_mutex;
    std::FILE* m_pFile = nullptr;
    std::int64_t m_size = 0;
};
