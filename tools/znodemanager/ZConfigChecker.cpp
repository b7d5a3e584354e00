#include "ZConfigChecker.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "ZCoreConfigs/ZConfig.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZLog.h"
#include "ZShared/ZMakeShared.h"

namespace {

constexpr const char* kDiscoveryUID = "ZNodeDiscovery1";

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// Edits between two names, a swap of neighbours counting as one: the slips a keyboard makes.
std::size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        d[i][0] = i;
    }
    for (std::size_t j = 0; j <= b.size(); ++j) {
        d[0][j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + cost});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
            }
        }
    }
    return d[a.size()][b.size()];
}

std::string Joined(const std::vector<std::string>& names) {
    std::string text;
    for (const auto& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

// "; did you mean X?" or, without a near name, the names there are.
std::string Hint(const std::string& name, const std::vector<std::string>& candidates) {
    const std::string nearest = ZConfigChecker::NearestName(name, candidates);
    if (!nearest.empty()) {
        return "; did you mean " + nearest + "?";
    }
    return candidates.empty() ? std::string() : " (one of " + Joined(candidates) + ")";
}

bool IsKindOf(const std::string& className, const char* baseClassName) {
    return ZShared::CID::IsKindOf(ZShared::ZFactory::GetClassID(baseClassName),
                                  ZShared::ZFactory::GetClassID(className.c_str()));
}

// "; did you mean ZSystemParams?" among the classes of the kind, or nothing: the factory knows too
// many classes to list them.
std::string Nearest(const std::string& className, const char* baseClassName) {
    std::vector<std::string> names;
    for (const auto& name : ZShared::ZFactory::GetClassNames()) {
        if (IsKindOf(name, baseClassName)) {
            names.push_back(name);
        }
    }
    const std::string nearest = ZConfigChecker::NearestName(className, names);
    return nearest.empty() ? std::string() : "; did you mean " + nearest + "?";
}

// Keys whose text must be one of a few names; everything else is told by the value's type.
std::vector<std::string> NamedValues(const std::string& key) {
    std::vector<std::string> names;
    if (key == "DeviceType") {
        for (const auto& entry : ZEnumNameTable<ZDeviceType>::m_entries) {
            names.emplace_back(entry.second);
        }
    } else if (key == "DeviceModel") {
        for (const auto& entry : ZEnumNameTable<ZDeviceModel>::m_entries) {
            names.emplace_back(entry.second);
        }
    } else if (key == "LogLevel") {
        for (int level = LOGLEVEL_NONE; level <= LOGLEVEL_ERROR; ++level) {
            names.emplace_back(ZLog::LogLevelToString(static_cast<ZLogLevel>(level)));
        }
    }
    return names;
}

// A log level is read in any letter case, or as a digit; enumerators only exactly.
bool IsNamedValue(const std::string& key, const std::string& text, const std::vector<std::string>& names) {
    if (key == "LogLevel") {
        const bool digit = text.size() == 1 && text[0] >= '0' && text[0] <= '4';
        return digit || std::any_of(names.begin(), names.end(),
                                    [&](const std::string& name) { return Lower(text) == name; });
    }
    return std::find(names.begin(), names.end(), text) != names.end();
}

template <class Json>
std::string Kind(const Json& value) {
    switch (value.type()) {
        case Json::value_t::string:
            return "text";
        case Json::value_t::boolean:
            return "true or false";
        case Json::value_t::number_integer:
        case Json::value_t::number_unsigned:
            return "a whole number";
        case Json::value_t::number_float:
            return "a number";
        case Json::value_t::array:
            return "a list";
        case Json::value_t::object:
            return "an object";
        default:
            return "null";
    }
}

// The value as it stands in the file, cut short when long.
template <class Json>
std::string Shown(const Json& value) {
    std::string text = value.dump();
    if (text.size() > 40) {
        text = text.substr(0, 37) + "...";
    }
    return text;
}

std::string Child(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
}

std::string Element(const std::string& path, std::size_t index) {
    return path + "[" + std::to_string(index) + "]";
}

}  // namespace

bool ZConfigChecker::Read(const std::string& path) {
    m_error.clear();
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        m_error = "cannot read: is a directory";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        m_error = std::string("cannot read: ") + std::strerror(errno);
        return false;
    }
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    // The framework's own reader says what is wrong with the text, with its line and column.
    auto stream = ZMakeShared<ZJSONCommStream>();
    stream->m_logLevel = LOGLEVEL_NONE;
    if (!stream->SetData(text.data(), text.size())) {
        m_error = "not a valid JSON document: " + stream->GetError();
        return false;
    }
    m_document = ZJson::parse(text);
    return true;
}

std::vector<ZConfigChecker::ZFinding> ZConfigChecker::Check() {
    m_findings.clear();
    m_bClassesKnown = true;
    CheckManager();
    return m_findings;
}

bool ZConfigChecker::HasErrors(const std::vector<ZFinding>& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const ZFinding& finding) { return finding.m_bError; });
}

std::string ZConfigChecker::Text(const ZFinding& finding) {
    std::string text = finding.m_path.empty() ? std::string() : finding.m_path + ": ";
    return text + (finding.m_bError ? "" : "warning: ") + finding.m_text;
}

std::string ZConfigChecker::NearestName(const std::string& name, const std::vector<std::string>& candidates) {
    const std::string lower = Lower(name);
    std::string best;
    std::size_t bestDistance = name.size() >= 5 ? 3 : 2;
    for (const auto& candidate : candidates) {
        const std::string other = Lower(candidate);
        std::size_t distance = Distance(lower, other);
        // "warn" for "warning": the start of a name is as good as a slip.
        if (lower.size() >= 3 && other.compare(0, lower.size(), lower) == 0) {
            distance = std::min<std::size_t>(distance, 1);
        }
        if (distance < bestDistance) {
            best = candidate;
            bestDistance = distance;
        }
    }
    return best;
}

void ZConfigChecker::CheckManager() {
    static const ZJson kSchema = {{"UID", ""},
                                  {"Group", ""},
                                  {"Modules", ZJson::array()},
                                  {"TransportURL", ""},
                                  {"DiscoveryUID", ""},
                                  {"Nodes", ZJson::array()},
                                  {"Connections", ZJson::array()},
                                  {"Config", ZJson::object()}};
    if (const auto found = m_document.find("class");
        found != m_document.end() && *found != "ZNodeManagerConfig") {
        Error("class", "a node manager's configuration is a ZNodeManagerConfig, not " + Shown(*found));
    }
    CheckKeys("", m_document, kSchema);
    for (const char* key : {"UID", "Group", "TransportURL", "DiscoveryUID"}) {
        CheckText("", m_document, key);
    }
    if (const auto modules = m_document.find("Modules"); modules != m_document.end()) {
        CheckValue("Modules", "Modules", *modules, ZJson::array());
        m_bClassesKnown = modules->is_array() && std::all_of(modules->begin(), modules->end(),
                                                             [](const ZJson& m) { return m.is_string(); });
    }
    if (const auto uid = m_document.find("DiscoveryUID");
        uid != m_document.end() && uid->is_string() && *uid != kDiscoveryUID) {
        Warn("DiscoveryUID", "the discovery node serves as " + std::string(kDiscoveryUID) +
                                 " only; a manager of " + Shown(*uid) + " never registers");
    }
    for (const char* key : {"Nodes", "Connections"}) {
        const auto list = m_document.find(key);
        if (list == m_document.end()) {
            continue;
        }
        if (!list->is_array()) {
            Error(key, "expected a list, got " + Kind(*list));
            continue;
        }
        for (std::size_t i = 0; i < list->size(); ++i) {
            if (std::string(key) == "Nodes") {
                CheckNode(Element(key, i), (*list)[i]);
            } else {
                CheckConnection(Element(key, i), (*list)[i]);
            }
        }
    }
    if (const auto set = m_document.find("Config"); set != m_document.end()) {
        CheckConfigSet("Config", *set);
    }
}

void ZConfigChecker::CheckNode(const std::string& path, const ZJson& node) {
    static const ZJson kSchema = {
        {"class", ""}, {"name", ""}, {"uid", ""}, {"group", ""}, {"config", ZJson::object()}};
    if (!node.is_object()) {
        Error(path, "expected an object, got " + Kind(node));
        return;
    }
    CheckKeys(path, node, kSchema);
    for (const char* key : {"name", "uid", "group"}) {
        CheckText(path, node, key);
    }
    if (CheckText(path, node, "class") && node.contains("class") && m_bClassesKnown) {
        const std::string className = node["class"];
        if (ZShared::ZFactory::GetClassID(className.c_str()) == 0) {
            Error(Child(path, "class"), "unknown class <" + className + ">" + Nearest(className, "ZNode"));
        } else if (!IsKindOf(className, "ZNode")) {
            Error(Child(path, "class"), "class <" + className + "> is not a node");
        } else if (IsKindOf(className, "ZNodeDiscovery")) {
            const auto uid = node.find("uid");
            if (uid != node.end() && uid->is_string() && !uid->get<std::string>().empty() &&
                *uid != kDiscoveryUID) {
                Error(Child(path, "uid"), "the discovery node serves as " + std::string(kDiscoveryUID) +
                                              " only, not as " + uid->get<std::string>());
            }
        }
    }
    if (const auto set = node.find("config"); set != node.end()) {
        CheckConfigSet(Child(path, "config"), *set);
    }
}

void ZConfigChecker::CheckConnection(const std::string& path, const ZJson& connection) {
    static const ZJson kSchema = {{"from", ""}, {"to", ""}, {"fromGroup", ""}, {"toGroup", ""}};
    if (!connection.is_object()) {
        Error(path, "expected an object, got " + Kind(connection));
        return;
    }
    CheckKeys(path, connection, kSchema);
    for (const char* key : {"from", "to", "fromGroup", "toGroup"}) {
        CheckText(path, connection, key);
    }
}

void ZConfigChecker::CheckConfigSet(const std::string& path, const ZJson& set) {
    if (!set.is_object()) {
        Error(path, "expected a ZCoreConfigParams object, got " + Kind(set));
        return;
    }
    if (const auto found = set.find("class"); found != set.end() && *found != "ZCoreConfigParams") {
        Error(Child(path, "class"), "a configuration set is a ZCoreConfigParams, not " + Shown(*found));
    }
    ZJson schema = ModelOf("ZCoreConfigParams");
    schema["ConfigParams"] = ZJson::array();
    CheckKeys(path, set, schema);
    for (const auto& [key, value] : set.items()) {
        if (key != "class" && key != "ConfigParams" && schema.contains(key)) {
            CheckValue(Child(path, key), key, value, schema[key]);
        }
    }
    const auto records = set.find("ConfigParams");
    if (records == set.end()) {
        return;
    }
    const std::string listPath = Child(path, "ConfigParams");
    if (!records->is_array()) {
        Error(listPath, "expected a list of records, got " + Kind(*records));
        return;
    }
    std::map<std::string, std::size_t> seen;
    for (std::size_t i = 0; i < records->size(); ++i) {
        const ZJson& record = (*records)[i];
        CheckRecord(Element(listPath, i), record);
        if (record.is_object() && record.contains("class") && record["class"].is_string()) {
            const auto [earlier, first] = seen.emplace(record["class"].get<std::string>(), i);
            if (!first) {
                Warn(Element(listPath, i),
                     "a second " + earlier->first + "; it replaces " + Element(listPath, earlier->second));
                earlier->second = i;
            }
        }
    }
}

void ZConfigChecker::CheckRecord(const std::string& path, const ZJson& record) {
    if (!record.is_object()) {
        Error(path, "expected a record object, got " + Kind(record));
        return;
    }
    const auto found = record.find("class");
    if (found == record.end()) {
        Error(path, "missing \"class\": a record names its class");
        return;
    }
    if (!found->is_string()) {
        Error(Child(path, "class"), "expected text, got " + Shown(*found));
        return;
    }
    const std::string className = *found;
    if (ZShared::ZFactory::GetClassID(className.c_str()) == 0) {
        if (m_bClassesKnown) {
            Error(Child(path, "class"), "unknown class <" + className + ">" + Nearest(className, "ZConfig"));
        }
        return;
    }
    if (!IsKindOf(className, "ZConfig")) {
        Error(Child(path, "class"), "class <" + className + "> is not a configuration record");
        return;
    }
    const ZJson& model = ModelOf(className);
    CheckKeys(path, record, model);
    for (const auto& [key, value] : record.items()) {
        if (key != "class" && model.contains(key)) {
            CheckValue(Child(path, key), key, value, model[key]);
        }
    }
}

void ZConfigChecker::CheckKeys(const std::string& path, const ZJson& object, const ZJson& schema) {
    std::vector<std::string> known;
    for (const auto& [key, value] : schema.items()) {
        known.push_back(key);
    }
    for (const auto& [key, value] : object.items()) {
        if (key != "class" && !schema.contains(key)) {
            const std::string nearest = NearestName(key, known);
            Error(Child(path, key), nearest.empty() ? "unknown key (known: " + Joined(known) + ")"
                                                    : "unknown key; did you mean " + nearest + "?");
        }
    }
}

void ZConfigChecker::CheckValue(const std::string& path, const std::string& key, const ZJson& value,
                                const ZJson& model) {
    if (const auto names = NamedValues(key); !names.empty()) {
        if (!value.is_string()) {
            Error(path, "expected a name (" + Joined(names) + "), got " + Shown(value));
        } else if (!IsNamedValue(key, value, names)) {
            Error(path, "unknown name <" + value.get<std::string>() + ">" + Hint(value, names));
        }
        return;
    }
    switch (model.type()) {
        case ZJson::value_t::string:
            if (!value.is_string()) {
                Error(path, "expected text, got " + Shown(value));
            }
            return;
        case ZJson::value_t::boolean:
            if (!value.is_boolean()) {
                Error(path, "expected true or false, got " + Shown(value));
            }
            return;
        case ZJson::value_t::number_integer:
        case ZJson::value_t::number_unsigned:
            if (!value.is_number_integer()) {
                Error(path, "expected a whole number, got " + Shown(value));
            } else if (value.is_number_unsigned()
                           ? value.get<std::uint64_t>() > INT32_MAX
                           : value.get<std::int64_t>() < INT32_MIN || value.get<std::int64_t>() > INT32_MAX) {
                Error(path, "out of range: " + Shown(value) + " (a 32-bit whole number)");
            } else if (value.get<std::int64_t>() < 0 && key.find("Priority") == std::string::npos) {
                Warn(path, "negative: " + Shown(value));
            }
            return;
        case ZJson::value_t::number_float:
            if (!value.is_number()) {
                Error(path, "expected a number, got " + Shown(value));
            }
            return;
        case ZJson::value_t::array:
            if (!value.is_array() || !std::all_of(value.begin(), value.end(),
                                                  [](const ZJson& item) { return item.is_string(); })) {
                Error(path, "expected a list of text, got " + Shown(value));
            }
            return;
        case ZJson::value_t::object:
            if (!value.is_object()) {
                Error(path, "expected an object, got " + Shown(value));
            }
            return;
        default:
            return;
    }
}

bool ZConfigChecker::CheckText(const std::string& path, const ZJson& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_string()) {
        return true;
    }
    Error(Child(path, key), "expected text, got " + Shown(*found));
    return false;
}

void ZConfigChecker::Error(const std::string& path, const std::string& text) {
    m_findings.push_back(ZFinding{true, path, text});
}

void ZConfigChecker::Warn(const std::string& path, const std::string& text) {
    m_findings.push_back(ZFinding{false, path, text});
}

const ZConfigChecker::ZJson& ZConfigChecker::ModelOf(const std::string& className) {
    const auto cached = m_models.find(className);
    if (cached != m_models.end()) {
        return cached->second;
    }
    ZJson& model = m_models[className];
    model = ZJson::object();
    const auto record =
        std::dynamic_pointer_cast<ZConfig>(ZShared::ZFactory::TryCreateShared(className.c_str()));
    auto stream = ZMakeShared<ZJSONCommStream>();
    std::string text;
    if (record && record->Serialize(stream) && stream->GetData(text)) {
        model = ZJson::parse(text, nullptr, false);
        if (!model.is_object()) {
            model = ZJson::object();
        }
        model.erase("class");
    }
    return model;
}
