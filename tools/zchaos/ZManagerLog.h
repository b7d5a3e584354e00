#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

// What one znodemanager process says in its log about its registration, read as the log grows:
// the UID each of its nodes was registered as ("Node <name> of <manager> registered as <UID>"), the
// sessions the discovery node answered, and whether its latest registration finished.
class ZManagerLog {
public:
    // Reads the text added since the last call (the whole log so far is passed each time); a line
    // still being written is read once it ends.
    void Update(const std::string& text);

    // Node name -> the UID of its latest registration.
    const std::map<std::string, std::string>& NodeUIDs() const { return m_nodeUIDs; }
    // Registrations the discovery node answered (one per session when all is well).
    std::size_t Registrations() const { return m_registrations; }
    // "session S answered twice", "node n answered twice in session S": each once, in order.
    const std::vector<std::string>& DoubleAnswers() const { return m_doubleAnswers; }
    // The latest registration went through to the end ("running"), and none began after it.
    bool IsRegistered() const { return m_bRegistered; }
    // Lines that hold the fragment, so far.
    std::size_t Count(const std::string& fragment) const;

private:
    void ReadLine(const std::string& line);

    std::size_t m_consumed = 0;
    std::vector<std::string> m_lines;
    std::map<std::string, std::string> m_nodeUIDs;
    std::size_t m_registrations = 0;
    std::set<std::string> m_sessions;
    std::string m_session;
    std::set<std::string> m_sessionNodes;
    std::vector<std::string> m_doubleAnswers;
    bool m_bRegistered = false;
};
