#include "NodeComm/ZBrokerAddress.h"

#include <cstdlib>
#include <fstream>

namespace {

// "%XX" escapes in the user, the password and the paths of a URL.
std::string PercentDecode(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const std::string hex = text.substr(i + 1, 2);
            char* end = nullptr;
            const long value = std::strtol(hex.c_str(), &end, 16);
            if (end == hex.c_str() + 2) {
                out.push_back(static_cast<char>(value));
                i += 2;
                continue;
            }
        }
        out.push_back(text[i]);
    }
    return out;
}

// The first line of the file, without its line end; false when it cannot be read.
bool ReadFirstLine(const std::string& path, std::string& line) {
    std::ifstream file(path);
    if (!file || !std::getline(file, line)) {
        return false;
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return true;
}

// The parts of a list separated by commas, as written (an empty text is one empty part).
std::vector<std::string> SplitAtCommas(const std::string& text) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t comma = text.find(','); comma != std::string::npos; comma = text.find(',', start)) {
        parts.push_back(text.substr(start, comma - start));
        start = comma + 1;
    }
    parts.push_back(text.substr(start));
    return parts;
}

}  // namespace

std::string ZBrokerAddress::Redact(const std::string& text) {
    std::string shown;
    for (const std::string& part : SplitAtCommas(text)) {
        shown += (shown.empty() ? "" : ",") + RedactOne(part);
    }
    return shown;
}

std::string ZBrokerAddress::RedactOne(const std::string& url) {
    const std::size_t scheme = url.find("://");
    const std::size_t start = scheme == std::string::npos ? 0 : scheme + 3;
    const std::size_t end = url.find_first_of("/?", start);
    const std::size_t at = url.rfind('@', end == std::string::npos ? std::string::npos : end);
    if (at == std::string::npos || at < start) {
        return url;
    }
    const std::size_t colon = url.find(':', start);
    if (colon == std::string::npos || colon > at) {
        return url;
    }
    return url.substr(0, colon + 1) + "***" + url.substr(at);
}

bool ZBrokerAddress::Parse(const std::string& url, std::string& error) {
    const std::string shown = RedactOne(url);
    const auto fail = [&](const std::string& why) {
        error = "<" + shown + ">: " + why;
        return false;
    };
    std::string rest;
    if (url.rfind("mqtt://", 0) == 0) {
        rest = url.substr(7);
        m_bTLS = false;
        m_port = 1883;
    } else if (url.rfind("mqtts://", 0) == 0) {
        rest = url.substr(8);
        m_bTLS = true;
        m_port = 8883;
    } else {
        return fail("not an mqtt:// or mqtts:// URL");
    }
    std::string passwordFile;
    m_caFile.clear();
    if (const std::size_t query = rest.find('?'); query != std::string::npos) {
        std::string options = rest.substr(query + 1);
        rest.resize(query);
        while (!options.empty()) {
            const std::size_t amp = options.find('&');
            const std::string option = options.substr(0, amp);
            options = amp == std::string::npos ? std::string() : options.substr(amp + 1);
            const std::size_t equals = option.find('=');
            const std::string name = option.substr(0, equals);
            const std::string value =
                equals == std::string::npos ? std::string() : PercentDecode(option.substr(equals + 1));
            if (value.empty() || (name != "cafile" && name != "passwordfile")) {
                return fail("the query options are cafile=PATH and passwordfile=PATH");
            }
            (name == "cafile" ? m_caFile : passwordFile) = value;
        }
    }
    if (const std::size_t slash = rest.find('/'); slash != std::string::npos) {
        if (slash + 1 != rest.size()) {
            return fail("a broker URL has no path");
        }
        rest.resize(slash);
    }
    m_user.clear();
    m_password.clear();
    bool passwordInURL = false;
    if (const std::size_t at = rest.rfind('@'); at != std::string::npos) {
        const std::string credentials = rest.substr(0, at);
        rest = rest.substr(at + 1);
        const std::size_t colon = credentials.find(':');
        m_user = PercentDecode(credentials.substr(0, colon));
        if (colon != std::string::npos) {
            m_password = PercentDecode(credentials.substr(colon + 1));
            passwordInURL = true;
        }
    }
    std::string portText;
    m_host = rest;
    if (!rest.empty() && rest.front() == '[') {
        const std::size_t close = rest.find(']');
        if (close == std::string::npos || (close + 1 < rest.size() && rest[close + 1] != ':')) {
            return fail("malformed IPv6 address");
        }
        m_host = rest.substr(1, close - 1);
        portText = close + 1 < rest.size() ? rest.substr(close + 2) : std::string();
    } else if (const std::size_t colon = rest.rfind(':'); colon != std::string::npos) {
        m_host = rest.substr(0, colon);
        portText = rest.substr(colon + 1);
    }
    if (m_host.empty()) {
        return fail("no host");
    }
    if (!portText.empty()) {
        char* end = nullptr;
        const long value = std::strtol(portText.c_str(), &end, 10);
        if (*end != '\0' || value < 1 || value > 65535) {
            return fail("bad port <" + portText + ">");
        }
        m_port = static_cast<int>(value);
    }
    if (!m_caFile.empty() && !m_bTLS) {
        return fail("?cafile= needs mqtts://");
    }
    if (!passwordFile.empty()) {
        if (passwordInURL) {
            return fail("a password in the URL and a password file: give one");
        }
        if (m_user.empty()) {
            return fail("a password file needs a user: mqtt://user@host?passwordfile=PATH");
        }
        if (!ReadFirstLine(passwordFile, m_password)) {
            return fail("cannot read the password file <" + passwordFile + ">");
        }
    } else if (!passwordInURL && !m_user.empty()) {
        if (const char* fromEnvironment = std::getenv(kPasswordVariable)) {
            m_password = fromEnvironment;
        }
    }
    m_shown = shown;
    return true;
}

bool ZBrokerAddress::ParseList(const std::string& urls, std::vector<ZBrokerAddress>& addresses,
                               std::string& error) {
    addresses.clear();
    for (std::string url : SplitAtCommas(urls)) {
        const std::size_t first = url.find_first_not_of(" \t");
        url = first == std::string::npos ? std::string()
                                         : url.substr(first, url.find_last_not_of(" \t") - first + 1);
        if (url.empty()) {
            error = "<" + Redact(urls) + ">: an empty broker in the list";
            return false;
        }
        ZBrokerAddress address;
        if (!address.Parse(url, error)) {
            return false;
        }
        // One client keeps one TLS set-up for every broker it may move to.
        if (!addresses.empty() &&
            (address.m_bTLS != addresses.front().m_bTLS || address.m_caFile != addresses.front().m_caFile)) {
            error = "<" + address.Shown() + ">: every broker of a list needs the same scheme and cafile";
            return false;
        }
        addresses.push_back(std::move(address));
    }
    return true;
}
