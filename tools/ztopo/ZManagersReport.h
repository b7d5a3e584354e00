#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

class ZDiscoveryNodeManagersMsg;
struct ZNodeManagerRecord;
class ZCommStreamObject;

// The discovery node's list of node managers for people and scripts: a table (more columns when
// wide), the lock's holder, and one manager's registry row as `describe` shows it.
class ZManagersReport {
public:
    explicit ZManagersReport(const ZDiscoveryNodeManagersMsg& answer) : m_answer(answer) {}

    void PrintTable(std::ostream& out, bool wide) const;
    // "held by Mast-NM since 2026-11-23T05:54:02Z (for 1.2s)" or "free".
    std::string LockText() const;
    // {"bHeld", "lockHolderUID", "lockedSince", "lockedSinceTimeUs", "lockedForMs"}
    std::string LockJSON() const;
    // Rows {label, value} of the manager's registry row; false when it is not registered.
    bool AddRegistration(const std::string& uid, std::vector<std::vector<std::string>>& rows) const;

    // Columns as wide as their widest cell, two spaces apart; the last one is not padded.
    static void PrintColumns(std::ostream& out, const std::vector<std::vector<std::string>>& rows,
                             const char* indent = "");
    // "2026-11-23T05:54:02Z": UTC, whole seconds.
    static std::string IsoTime(std::int64_t timeUs);
    // "0.4s", "12s", "5m07s", "2h03m", "3d04h".
    static std::string Duration(std::int64_t ms);
    // The object as JSON, "class" first, as the discovery node sends it.
    static std::string JSON(const ZCommStreamObject& object);
    static std::string RecordJSON(const ZNodeManagerRecord& record);

private:
    static std::string Version(const ZNodeManagerRecord& record);
    std::string LastContact(const ZNodeManagerRecord& record) const;

    const ZDiscoveryNodeManagersMsg& m_answer;
};
