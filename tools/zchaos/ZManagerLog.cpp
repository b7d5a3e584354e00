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
        m_bAsked = true;
        return;
    }
    const bool registered = line.find("> registered with discovery node <") != std::string::npos;
    const bool still = line.find("> is still registered with discovery node <") != std::string::npos;
    if (registered || still) {
        // One request, one answer: a second answer to the same request is no new round.
        const std::string session = Between(line, ": session <");
        if (!m_bAsked) {
            m_doubleAnswers.push_back("registration of session " + session + " answered twice");
        }
        m_bAsked = false;
        m_session = session;
        if (registered) {
            ++m_registrations;
            m_roundNodes.clear();
        } else {
            m_bRegistered = true;
        }
        return;
    }
    if (line.find("> is configured with a dead time of ") != std::string::npos) {
        ++m_deadTimeWarnings;
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
    if (!m_roundNodes.insert(name).second) {
        m_doubleAnswers.push_back("node " + name + " answered twice in session " + m_session);
    }
    m_nodeUIDs[name] = uid;
}

std::size_t ZManagerLog::Count(const std::string& fragment) const {
    return static_cast<std::size_t>(std::count_if(
        m_lines.begin(), m_lines.end(),
        [&fragment](const std::string& line) { return line.find(fragment) != std::string::npos; }));
}
