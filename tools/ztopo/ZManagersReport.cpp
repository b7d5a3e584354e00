#include "ZManagersReport.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>
#include <vector>

#include "NodeBase/ZDiscoveryNodeManagersMsg.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/ZMakeShared.h"

namespace {

std::string Text(const ZString& text) {
    return text.empty() ? "-" : ToStdString(text);
}

}  // namespace

void ZManagersReport::PrintColumns(std::ostream& out, const std::vector<std::vector<std::string>>& rows,
                                   const char* indent) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const auto& row : rows) {
        std::string line = indent;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) {
                line += std::string(widths[i] - row[i].size() + 2, ' ');
            }
        }
        out << line << "\n";
    }
}

std::string ZManagersReport::IsoTime(std::int64_t timeUs) {
    const auto seconds = static_cast<std::time_t>(timeUs / 1000000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

std::string ZManagersReport::Duration(std::int64_t ms) {
    char text[32];
    const std::int64_t secs = std::max<std::int64_t>(ms, 0) / 1000;
    if (ms < 10000) {
        std::snprintf(text, sizeof text, "%.1fs",
                      static_cast<double>(std::max<std::int64_t>(ms, 0)) / 1000.0);
    } else if (secs < 60) {
        std::snprintf(text, sizeof text, "%llds", static_cast<long long>(secs));
    } else if (secs < 3600) {
        std::snprintf(text, sizeof text, "%lldm%02llds", static_cast<long long>(secs / 60),
                      static_cast<long long>(secs % 60));
    } else if (secs < 86400) {
        std::snprintf(text, sizeof text, "%lldh%02lldm", static_cast<long long>(secs / 3600),
                      static_cast<long long>(secs % 3600 / 60));
    } else {
        std::snprintf(text, sizeof text, "%lldd%02lldh", static_cast<long long>(secs / 86400),
                      static_cast<long long>(secs % 86400 / 3600));
    }
    return text;
}

std::string ZManagersReport::JSON(const ZCommStreamObject& object) {
    auto stream = ZMakeShared<ZJSONCommStream>();
    std::string text;
    if (!object.SerializeClass(stream) || !stream->GetData(text)) {
        return std::string();
    }
    return text;
}

std::string ZManagersReport::RecordJSON(const ZNodeManagerRecord& record) {
    auto stream = ZMakeShared<ZJSONCommStream>();
    std::string text;
    record.Serialize(stream);
    return stream->GetData(text) ? text : std::string();
}

std::string ZManagersReport::Version(const ZNodeManagerRecord& record) {
    const auto& info = record.m_versionInfo;
    return Text(info.m_systemVersion.empty() ? info.m_frameworkVersion : info.m_systemVersion);
}

std::string ZManagersReport::LastContact(const ZNodeManagerRecord& record) const {
    return record.m_silentMs < 0 ? "never" : Duration(record.m_silentMs) + " ago";
}

void ZManagersReport::PrintTable(std::ostream& out, bool wide) const {
    if (m_answer.m_nodeManagers.empty()) {
        out << "no node managers registered\n";
        return;
    }
    std::vector<std::vector<std::string>> rows;
    rows.push_back({"NODE MANAGER", "GROUP", "HOST", "PROCESS", "VERSION", "SESSION", "AGE", "LAST CONTACT"});
    if (wide) {
        rows.back().insert(rows.back().end(), {"DEAD IN", "REGISTERED", "START ID", "OS", "LOCK"});
    }
    for (const auto& record : m_answer.m_nodeManagers) {
        rows.push_back({record.m_nodeManagerUID.c_str(), Text(record.m_group), Text(record.m_hostName),
                        record.m_processID == 0 ? "-" : std::to_string(record.m_processID), Version(record),
                        std::to_string(record.m_sessionID),
                        record.m_registeredTimeUs == 0 ? "-" : Duration(record.m_ageMs),
                        LastContact(record)});
        if (wide) {
            rows.back().insert(rows.back().end(),
                               {record.m_bExempt ? "exempt" : Duration(record.m_deadTimeLeftMs),
                                record.m_registeredTimeUs == 0 ? "-" : IsoTime(record.m_registeredTimeUs),
                                record.m_startID == 0 ? "-" : std::to_string(record.m_startID),
                                Text(record.m_versionInfo.m_osVersion),
                                record.m_nodeManagerUID == m_answer.m_lockHolderUID ? "held" : "-"});
        }
    }
    PrintColumns(out, rows);
}

std::string ZManagersReport::LockText() const {
    if (m_answer.m_lockHolderUID.IsEmpty()) {
        return "free";
    }
    return std::string("held by ") + m_answer.m_lockHolderUID.c_str() + " since " +
           IsoTime(m_answer.m_lockedSinceTimeUs) + " (for " + Duration(m_answer.m_lockedForMs) + ")";
}

std::string ZManagersReport::LockJSON() const {
    const bool held = !m_answer.m_lockHolderUID.IsEmpty();
    nlohmann::ordered_json lock;
    lock["bHeld"] = held;
    lock["lockHolderUID"] = m_answer.m_lockHolderUID.c_str();
    lock["lockedSince"] = held ? IsoTime(m_answer.m_lockedSinceTimeUs) : std::string();
    lock["lockedSinceTimeUs"] = m_answer.m_lockedSinceTimeUs;
    lock["lockedForMs"] = m_answer.m_lockedForMs;
    return lock.dump(2);
}

bool ZManagersReport::AddRegistration(const std::string& uid,
                                      std::vector<std::vector<std::string>>& rows) const {
    const ZNodeManagerRecord* record = m_answer.Find(ZNodeUID(uid));
    if (record == nullptr) {
        return false;
    }
    const auto& info = record->m_versionInfo;
    const std::string left = record->m_bExempt
                                 ? "exempt from the dead time"
                                 : Duration(record->m_deadTimeLeftMs) + " left of the dead time of " +
                                       std::to_string(m_answer.m_deadTimeSecs) + "s";
    rows.push_back({"host", Text(record->m_hostName)});
    rows.push_back({"process", record->m_processID == 0 ? "-" : std::to_string(record->m_processID)});
    rows.push_back({"version", Version(*record) + " (framework " + Text(info.m_frameworkVersion) + ", os " +
                                   Text(info.m_osVersion) + ")"});
    rows.push_back({"session", std::to_string(record->m_sessionID)});
    rows.push_back({"start ID", record->m_startID == 0 ? "-" : std::to_string(record->m_startID)});
    rows.push_back({"registered",
                    record->m_registeredTimeUs == 0
                        ? "-"
                        : IsoTime(record->m_registeredTimeUs) + " (" + Duration(record->m_ageMs) + " ago)"});
    rows.push_back({"last contact", LastContact(*record) + " (" + left + ")"});
    rows.push_back({"lock", record->m_nodeManagerUID == m_answer.m_lockHolderUID ? LockText() : "not held"});
    return true;
}
