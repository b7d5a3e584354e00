#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class ZCoreConfigParams;
class ZThresholdLogSink;

// A host's logs as its node manager's configuration set asks for them:
// - ZLogParams: the log, on stderr or in a rotated file (and on stderr too with "bConsole"), at its
//   level; a level on the command line wins over the record's;
// - ZTraceLogParams: a second file at its own level, usually more detailed;
// - ZAuditLogParams: a file of what changed the system only (registrations, removals and their
//   reasons, the lock), without the answers to lookups.
// Without records the log is stderr at the command line's level, or progress.
class ZHostLogging {
public:
    static constexpr std::int32_t kDefaultLevel = 2;

    // commandLineLevel below 0: not given. False with the reason when a log file cannot be opened
    // or its path names an unset variable. The process logs nothing from here until Install.
    bool Configure(const std::shared_ptr<ZCoreConfigParams>& set, std::int32_t commandLineLevel,
                   std::string& error);
    // The threshold the host's objects need so that every log gets its lines: the most detailed.
    std::int32_t GetObjectThreshold() const;
    // Makes these logs the process's.
    void Install() const;

private:
    bool AddFile(const char* className, const std::string& configuredPath, const std::string& resolvedPath,
                 std::int32_t level, std::int32_t maxFileSizeKB, std::int32_t maxFiles, bool bAuditOnly,
                 std::string& error);

    std::vector<std::shared_ptr<ZThresholdLogSink>> m_sinks;
};
