#pragma once

#include <cstddef>
#include <memory>
#include <set>
#include <string>

class ZCoreConfigParams;
class ZNodeComm;
class ZRotatingFileLogSink;

// The message log a configuration set asks for (ZMessageLogParams): every message the host's
// transport publishes or delivers to its nodes, of the listed classes (all when the list is empty),
// one line each: time, direction, endpoint, class and the message's JSON form cut to
// nMaxLoggedBytes. The file rotates as the logs do (10 MB, five files kept).
class ZMessageLog {
public:
    // Nothing to do, and true, when the record is absent or not enabled. False with the reason when
    // the file cannot be opened or its path names an unset variable.
    bool Configure(const std::shared_ptr<ZCoreConfigParams>& set, std::string& error);
    bool IsEnabled() const { return m_pFile != nullptr; }
    // Records the transport's messages from now on (while this object lives).
    void Attach(ZNodeComm& comm) const;

private:
    std::shared_ptr<ZRotatingFileLogSink> m_pFile;
    std::set<std::string> m_classes;
    std::size_t m_maxBytes = 0;
};
