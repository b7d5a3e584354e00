#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

// What one znodemanager process says in its log about its registration, read as the log grows:
// the UID each of its nodes was registered as ("Node <name> of <manager> registered as <UID>"), the
// registrations the discovery node answered, and whether its latest one finished. A manager asks
// again with the same session after a reconnection; every answer must follow a request of its own.
class ZManagerLog {
public:
    // Reads the text added since the last call (the whole log so far is passed each time); a line
    // still being written is read once it ends.
    void Update(const std::string& text);

    // Node name -> the UID of its latest registration.
    const std::map<std::string, std::string>& NodeUIDs() const { return m_nodeUIDs; }
    // Registrations the discovery node answered with a new round of nodes.
    std::size_t Registrations() const { return m_registrations; }
    // "registration of session S answered twice", "node n answered twice in session S", in order.
    const std::vector<std::string>& DoubleAnswers() const { return m_doubleAnswers; }
    // The latest registration went through to the end ("running", or "still registered" when it
    // only asked), and none began after it.
    bool IsRegistered() const { return m_bRegistered; }
    // Warnings that the manager's own dead time differs from the discovery node's.
    std::size_t DeadTimeWarnings() const { return m_deadTimeWarnings; }
    // Lines that hold the fragment, so far.
    std::size_t Count(const std::string& fragment) const;

private:
    void ReadLine(const std::string& line);

    std::size_t m_consumed = 0;
    std::vector<std::string> m_lines;
    std::map<std::string, std::string> m_nodeUIDs;
    std::size_t m_registrations = 0;
    bool m_bAsked = false;  // a request is out that no answer has met yet
    std::string m_session;
    std::set<std::string> m_roundNodes;
    std::vector<std::string> m_doubleAnswers;
    bool m_bRegistered = false;
    std::size_t m_deadTimeWarnings = 0;
};
