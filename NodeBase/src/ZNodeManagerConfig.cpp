#include "NodeBase/ZNodeManagerConfig.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZMessages/ZCommStream.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/ZMakeShared.h"

namespace {

std::string Quoted(const ZString& text) {
    return "<" + ToStdString(text) + ">";
}

// "node 2 (\"Radar1\")": how a problem names the node, counting from 1 as a person reads the file.
std::string NodeLabel(std::size_t index, const ZString& name) {
    std::string label = "node " + std::to_string(index + 1);
    if (!name.empty()) {
        label += " (\"" + ToStdString(name) + "\")";
    }
    return label;
}

// Why the UID cannot be one level of a broker topic; empty when it can. '/', '+' and '#' keep the
// wording the configuration's readers know.
std::string TopicProblem(const ZNodeUID& uid) {
    std::string why;
    if (ZCommEndpoint::IsTopicSafeUID(uid.AsString(), &why)) {
        return std::string();
    }
    if (uid.AsString().find_first_of("/+#") != ZString::npos) {
        return "may not contain '/', '+' or '#'";
    }
    return why;
}

}  // namespace

ZNodeManagerConfig::ZNodeManagerConfig() : m_discoveryUID(kDefaultDiscoveryUID) {}

ZNodeManagerConfig::~ZNodeManagerConfig() = default;

bool ZNodeManagerConfig::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    if (!stream) {
        return false;
    }
    stream->Serialize("UID", m_uid.AsString(), false);
    stream->Serialize("Group", m_group, false);
    stream->Serialize("Modules", m_modules, false);
    stream->Serialize("TransportURL", m_transportURL, false);
    stream->Serialize("DiscoveryUID", m_discoveryUID.AsString(), false);
    for (const auto& node : m_nodes) {
        auto child = stream->CreateChild();
        child->Serialize("class", node.m_className, false);
        child->Serialize("name", node.m_name, false);
        child->Serialize("uid", node.m_uid.AsString(), false);
        child->Serialize("group", node.m_group, false);
        if (node.m_pConfig) {
            child->SerializeObject("config", node.m_pConfig);
        }
        stream->SerializeArrayElement("Nodes", child);
    }
    for (const auto& connection : m_connections) {
        auto child = stream->CreateChild();
        connection.m_from.Serialize(child, "from");
        connection.m_to.Serialize(child, "to");
        if (!connection.m_fromGroup.empty()) {
            child->Serialize("fromGroup", connection.m_fromGroup, false);
        }
        if (!connection.m_toGroup.empty()) {
            child->Serialize("toGroup", connection.m_toGroup, false);
        }
        stream->SerializeArrayElement("Connections", child);
    }
    if (m_pConfig) {
        stream->SerializeObject("Config", m_pConfig);
    }
    return true;
}

bool ZNodeManagerConfig::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (!stream) {
        return false;
    }
    m_problem.clear();
    ZString text;
    if (stream->Deserialize("UID", text)) {
        m_uid = ZNodeUID(text);
    }
    stream->Deserialize("Group", m_group);
    stream->Deserialize("Modules", m_modules);
    stream->Deserialize("TransportURL", m_transportURL);
    if (stream->Deserialize("DiscoveryUID", text)) {
        m_discoveryUID = ZNodeUID(text);
    }
    if (!ReadNodes(stream) || !ReadConnections(stream) ||
        !ReadConfigSet(stream, "Config", "\"Config\"", m_pConfig)) {
        return false;
    }
    return Validate();
}

bool ZNodeManagerConfig::ReadNodes(const std::shared_ptr<ZCommStream>& stream) {
    if (!stream->HasKey("Nodes")) {
        return true;
    }
    m_nodes.clear();
    std::shared_ptr<void> cursor;
    auto child = stream->CreateChild();
    while (stream->DeserializeArrayElement("Nodes", child, cursor)) {
        ZHostedNode node;
        child->Deserialize("class", node.m_className);
        child->Deserialize("name", node.m_name);
        ZString uid;
        if (child->Deserialize("uid", uid)) {
            node.m_uid = ZNodeUID(uid);
        }
        child->Deserialize("group", node.m_group);
        const std::string label = NodeLabel(m_nodes.size(), node.m_name);
        if (!ReadConfigSet(child, "config", label + ": \"config\"", node.m_pConfig)) {
            return false;
        }
        m_nodes.push_back(std::move(node));
        child = stream->CreateChild();
    }
    return true;
}

bool ZNodeManagerConfig::ReadConnections(const std::shared_ptr<ZCommStream>& stream) {
    if (!stream->HasKey("Connections")) {
        return true;
    }
    m_connections.clear();
    std::shared_ptr<void> cursor;
    auto child = stream->CreateChild();
    while (stream->DeserializeArrayElement("Connections", child, cursor)) {
        const std::string label = "connection " + std::to_string(m_connections.size() + 1);
        ZConnection connection;
        ZString from;
        ZString to;
        child->Deserialize("from", from);
        child->Deserialize("to", to);
        if (!ParseEndpoint(from, connection.m_from)) {
            return Fail(label + ": \"from\" " + Quoted(from) + " is not an endpoint text (kind/UID/name)");
        }
        if (!ParseEndpoint(to, connection.m_to)) {
            return Fail(label + ": \"to\" " + Quoted(to) + " is not an endpoint text (kind/UID/name)");
        }
        child->Deserialize("fromGroup", connection.m_fromGroup);
        child->Deserialize("toGroup", connection.m_toGroup);
        m_connections.push_back(std::move(connection));
        child = stream->CreateChild();
    }
    return true;
}

bool ZNodeManagerConfig::ReadConfigSet(const std::shared_ptr<ZCommStream>& stream, const char* key,
                                       const std::string& owner, std::shared_ptr<ZCoreConfigParams>& target) {
    auto child = stream->CreateChild();
    if (!stream->DeserializeChild(key, child)) {
        return true;
    }
    auto set = ZMakeShared<ZCoreConfigParams>();
    set->SetEnvironment(stream->m_pEnvironment);
    ZString className;
    if (child->Deserialize("class", className) && className != ZCoreConfigParams::StaticClassName()) {
        return Fail(owner + " holds a " + Quoted(className) + ", not a ZCoreConfigParams");
    }
    set->Deserialize(child);
    target = std::move(set);
    return true;
}

bool ZNodeManagerConfig::Validate() {
    if (m_uid.IsEmpty()) {
        return Fail("missing \"UID\"");
    }
    if (const std::string problem = TopicProblem(m_uid); !problem.empty()) {
        return Fail("\"UID\" " + Quoted(m_uid.AsString()) + " " + problem);
    }
    if (m_discoveryUID.IsEmpty() || !IsValidUID(m_discoveryUID)) {
        return Fail("\"DiscoveryUID\" " + Quoted(m_discoveryUID.AsString()) +
                    " must be a UID without '/', '+' or '#'");
    }
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        const auto& node = m_nodes[i];
        if (node.m_className.empty()) {
            return Fail(NodeLabel(i, node.m_name) + " has no \"class\"");
        }
        const std::string problem = node.m_uid.IsEmpty() ? std::string() : TopicProblem(node.m_uid);
        if (!problem.empty()) {
            return Fail(NodeLabel(i, node.m_name) + ": \"uid\" " + Quoted(node.m_uid.AsString()) + " " +
                        problem);
        }
    }
    return true;
}

bool ZNodeManagerConfig::Fail(const std::string& problem) {
    if (m_problem.empty()) {
        m_problem = problem;
    }
    return false;
}

bool ZNodeManagerConfig::Load(const char* file) {
    const std::string path = file != nullptr ? file : "";
    m_path = path;
    m_error.clear();
    m_problem.clear();
    const auto fail = [this, &path](const std::string& problem) {
        m_error = path + ": " + problem;
        ZLOG(LOGLEVEL_ERROR, "%s", m_error.c_str());
        return false;
    };
    {
        // Checked first so that the message says why; the stream would only say that it failed.
        std::ifstream probe(path, std::ios::binary);
        if (!probe) {
            return fail(std::string("cannot read: ") + std::strerror(errno));
        }
    }
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        return fail("cannot read: is a directory");
    }
    auto stream = ZMakeShared<ZJSONCommStream>();
    stream->m_logLevel = m_logLevel;
    stream->m_logSource = m_logSource;
    if (!stream->SetDataFromFile(file)) {
        const std::string& why = stream->GetError();
        return fail(why.empty() ? "not a valid JSON document" : "not a valid JSON document: " + why);
    }
    ZString className;
    if (stream->Deserialize("class", className) && className != StaticClassName()) {
        return fail("holds a " + Quoted(className) + ", not a ZNodeManagerConfig");
    }
    const bool read = DeserializeClass(stream);
    // Also for a file refused below: a host loads the modules before it says what is wrong, so
    // that the classes they carry are known when the file is checked.
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    for (auto& module : m_modules) {
        std::filesystem::path modulePath(ToStdString(module));
        // A bare file name is left to the dynamic loader's search path, as dlopen does.
        if (modulePath.is_relative() && modulePath.has_parent_path()) {
            modulePath = std::filesystem::absolute(folder / modulePath, error).lexically_normal();
            module = ToZString(modulePath.string());
        }
    }
    if (!read) {
        return fail(m_problem.empty() ? "cannot be read" : m_problem);
    }
    return true;
}

std::int32_t ZNodeManagerConfig::GetDeadTimeSecs() const {
    const auto system = m_pConfig ? m_pConfig->GetConfig<ZSystemParams>() : nullptr;
    return system ? system->m_nodeManagerTimeoutSecs : kDefaultDeadTimeSecs;
}

ZString ZNodeManagerConfig::PluginNameOf(const ZString& modulePath) {
    std::string name = std::filesystem::path(ToStdString(modulePath)).filename().string();
    if (name.rfind("lib", 0) == 0 && name.size() > 3) {
        name.erase(0, 3);
    }
    const auto extension = name.find(".so");
    if (extension != std::string::npos && extension > 0) {
        name.erase(extension);
    }
    return ToZString(name);
}

bool ZNodeManagerConfig::IsValidUID(const ZNodeUID& uid) {
    return uid.IsEmpty() || ZCommEndpoint::IsTopicSafeUID(uid.AsString());
}

bool ZNodeManagerConfig::ParseEndpoint(const ZString& text, ZCommEndpoint& endpoint) {
    ZCommEndpoint parsed;
    parsed.Parse(std::string_view(text.data(), text.size()));
    if (parsed.m_type == EP_NULL || parsed.m_uid.IsEmpty() || !IsValidUID(parsed.m_uid)) {
        return false;
    }
    endpoint = parsed;
    return true;
}
