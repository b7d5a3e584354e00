#include "ZManagerLog.h"

#include <algorithm>

namespace {

// The text between `before` and the next '>' after it, from `from` on; empty when absent.
std::string Between(const std::string& line, const std::string& before, std::size_t from = 0,
                    std::size_t* end = nullptr) {
    const std::size_t at = line.find(before, from);
    if (at == std::string::npos) {
        return std::string();
    }
    const std::size_t start = at + before.size();
    const std::size_t close = line.find('>', start);
    if (close == std::string::npos) {
        return std::string();
    }
    if (end != nullptr) {
        *end = close;
    }
    return line.substr(start, close - start);
}

}  // namespace

void ZManagerLog::Update(const std::string& text) {
    while (m_consumed < text.size()) {
        const std::size_t newline = text.find('\n', m_consumed);
        if (newline == std::string::npos) {
            return;
        }
        ReadLine(text.substr(m_consumed, newline - m_consumed));
        m_consumed = newline + 1;
    }
}

void ZManagerLog::ReadLine(const std::string& line) {
    m_lines.push_back(line);
    // ZNodeManager's own lines; the manager's UID is the first <...> of each.
    if (line.find("> asks discovery node <") != std::string::npos) {
        m_bRegistered = false;
        return;
    }
    if (line.find("> registered with discovery node <") != std::string::npos) {
        const std::string session = Between(line, ": session <");
        ++m_registrations;
        if (!m_sessions.insert(session).second) {
            m_doubleAnswers.push_back("session " + session + " answered twice");
        }
        m_session = session;
        m_sessionNodes.clear();
        return;
    }
    if (line.find("> running: <") != std::string::npos) {
        m_bRegistered = true;
        return;
    }
    std::size_t end = 0;
    const std::string name = Between(line, "Node <", 0, &end);
    if (name.empty() || line.find("> registered as <", end) == std::string::npos) {
        return;
    }
    const std::string uid = Between(line, "> registered as <", end);
    if (!m_sessionNodes.insert(name).second) {
        m_doubleAnswers.push_back("node " + name + " answered twice in session " + m_session);
    }
    m_nodeUIDs[name] = uid;
}

std::size_t ZManagerLog::Count(const std::string& fragment) const {
    return static_cast<std::size_t>(std::count_if(
        m_lines.begin(), m_lines.end(),
        [&fragment](const std::string& line) { return line.find(fragment) != std::string::npos; }));
}
