#include "ZCoreConfigs/ZProcessEnvironment.h"

#include <cctype>
#include <cstdlib>

#include "ZShared/ZLog.h"

namespace {
bool IsNameChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}
}  // namespace

void ZProcessEnvironment::SetVariable(const std::string& name, const std::string& value) {
    m_variables[ToZString(name)] = ToZString(value);
}

bool ZProcessEnvironment::Lookup(const std::string& name, std::string& value) const {
    const auto set = m_variables.find(ToZString(name));
    if (set != m_variables.end()) {
        value = ToStdString(set->second);
        return true;
    }
    const char* fromProcess = std::getenv(name.c_str());
    if (fromProcess == nullptr) {
        return false;
    }
    value = fromProcess;
    return true;
}

bool ZProcessEnvironment::ResolveEnvVarsInPath(const ZString& path, ZString& resolved) const {
    ZString out;
    for (std::size_t i = 0; i < path.size();) {
        if (path[i] != '$' || i + 1 >= path.size()) {
            out += path[i++];
            continue;
        }
        std::string name;
        std::size_t next;
        if (path[i + 1] == '{') {
            const auto close = path.find('}', i + 2);
            if (close == ZString::npos) {
                ZLOG_WITH(LOGLEVEL_WARNING, "ZProcessEnvironment", LOGLEVEL_WARNING,
                          "Unclosed ${ in path <%s>", path.c_str());
                return false;
            }
            name.assign(path.data() + i + 2, close - i - 2);
            next = close + 1;
        } else {
            next = i + 1;
            while (next < path.size() && IsNameChar(path[next])) {
                ++next;
            }
            name.assign(path.data() + i + 1, next - i - 1);
        }
        if (name.empty()) {
            out += path[i++];
            continue;
        }
        std::string value;
        if (!Lookup(name, value)) {
            ZLOG_WITH(LOGLEVEL_WARNING, "ZProcessEnvironment", LOGLEVEL_WARNING,
                      "Path <%s> names variable <%s>, which is not set", path.c_str(), name.c_str());
            return false;
        }
        out.append(value.data(), value.size());
        i = next;
    }
    resolved = std::move(out);
    return true;
}
