#include "NodeBase/ZTopologyNode.h"

#include <utility>

#include "NodeBase/ZNodeToolsMetadata.h"
#include "ZCoreConfigs/ZConfig.h"
#include "ZMessages/ZCommStream.h"

ZTopologyNode::ZTopologyNode() = default;

ZTopologyNode::ZTopologyNode(const ZNodeUID& uid, const ZString& name, const ZStringList& aliases,
                             const ZString& className, const ZString& group, const ZNodeUID& nodeManagerUID)
    : m_name(name),
      m_aliases(aliases),
      m_className(className),
      m_group(group),
      m_uid(uid),
      m_nodeManagerUID(nodeManagerUID) {}

ZTopologyNode::ZTopologyNode(const ZTopologyNode& other) : ZMessage(other) {
    CopyRecord(other);
}

ZTopologyNode& ZTopologyNode::operator=(const ZTopologyNode& other) {
    if (this != &other) {
        ZMessage::operator=(other);
        CopyRecord(other);
    }
    return *this;
}

ZTopologyNode::ZTopologyNode(ZTopologyNode&& other) noexcept : ZMessage(std::move(other)) {
    MoveRecord(std::move(other));
}

ZTopologyNode& ZTopologyNode::operator=(ZTopologyNode&& other) noexcept {
    if (this != &other) {
        ZMessage::operator=(std::move(other));
        MoveRecord(std::move(other));
    }
    return *this;
}

ZTopologyNode::~ZTopologyNode() = default;

void ZTopologyNode::MoveRecord(ZTopologyNode&& other) noexcept {
    m_name = std::move(other.m_name);
    m_aliases = std::move(other.m_aliases);
    m_className = std::move(other.m_className);
    m_group = std::move(other.m_group);
    m_uid = std::move(other.m_uid);
    m_nodeManagerUID = std::move(other.m_nodeManagerUID);
    m_nodeLogLevel = other.m_nodeLogLevel;
    m_configFileName = std::move(other.m_configFileName);
    m_pConfig = std::move(other.m_pConfig);
    m_pToolsMetadata = std::move(other.m_pToolsMetadata);
}

void ZTopologyNode::CopyRecord(const ZTopologyNode& other) {
    m_name = other.m_name;
    m_aliases = other.m_aliases;
    m_className = other.m_className;
    m_group = other.m_group;
    m_uid = other.m_uid;
    m_nodeManagerUID = other.m_nodeManagerUID;
    m_nodeLogLevel = other.m_nodeLogLevel;
    m_configFileName = other.m_configFileName;
    m_pConfig = other.m_pConfig;
    m_pToolsMetadata = other.m_pToolsMetadata;
}

ZString ZTopologyNode::AsString() const {
    ZString text = m_group;
    text += '.';
    text += m_className;
    text += '.';
    text += m_name;
    text += '(';
    text += m_uid.AsString();
    text += ')';
    return text;
}

bool ZTopologyNode::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    if (!stream) {
        return false;
    }
    stream->Serialize("name", m_name, false);
    stream->Serialize("aliases", m_aliases, false);
    stream->Serialize("group", m_group, false);
    stream->Serialize("uid", m_uid.AsString(), false);
    stream->Serialize("nodeManagerUID", m_nodeManagerUID.AsString(), false);
    stream->Serialize("class", m_className, false);
    stream->Serialize("logLevel", ZLog::LogLevelToString(m_nodeLogLevel), false);
    if (m_pToolsMetadata) {
        stream->SerializeObject("toolsmetadata", m_pToolsMetadata);
    }
    stream->Serialize("ConfigFileName", m_configFileName, false);
    if (m_pConfig) {
        if (m_configFileName.empty() || !stream->m_bFileAccess) {
            stream->SerializeObject("config", m_pConfig);
        } else if (auto file = stream->CreateChild()) {
            file->SerializeObject("config", m_pConfig);
            file->GetDataToFile(m_configFileName.c_str());
        }
    }
    return true;
}

bool ZTopologyNode::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (!stream) {
        return false;
    }
    stream->Deserialize("name", m_name);
    stream->Deserialize("aliases", m_aliases);
    stream->Deserialize("group", m_group);
    ZString text;
    m_uid = stream->Deserialize("uid", text) ? ZNodeUID(std::move(text)) : ZNodeUID();
    text.clear();
    m_nodeManagerUID = stream->Deserialize("nodeManagerUID", text) ? ZNodeUID(std::move(text)) : ZNodeUID();
    stream->Deserialize("class", m_className);
    text.clear();
    stream->Deserialize("logLevel", text);
    m_nodeLogLevel = ZLog::StringToLogLevel(std::string_view(text.data(), text.size()));
    if (auto child = stream->ReadChild("toolsmetadata")) {
        m_pToolsMetadata = stream->DeserializeChildClass<ZNodeToolsMetadata>(child);
    }
    stream->Deserialize("ConfigFileName", m_configFileName);
    if (!m_configFileName.empty() && !stream->m_bFileAccess) {
        ZLOG_WITH(stream->m_logLevel, ClassName(), LOGLEVEL_WARNING,
                  "Node <%s>: ConfigFileName <%s> ignored, files are not read for this stream",
                  m_name.c_str(), m_configFileName.c_str());
        m_configFileName.clear();
    }

    if (!m_configFileName.empty()) {
        if (auto file = stream->CreateChild()) {
            file->SetDataFromFile(m_configFileName.c_str());
            if (auto child = file->ReadChild("config")) {
                m_pConfig = file->DeserializeChildClass<ZConfig>(child);
            }
        }
    } else if (auto child = stream->ReadChild("config")) {
        m_pConfig = stream->DeserializeChildClass<ZConfig>(child);
    }
    if (m_pConfig) {
        ZLOG_WITH(stream->m_logLevel, ClassName(), LOGLEVEL_DETAIL, "Node <%s> has config - class = <%s>...",
                  m_name.c_str(), m_pConfig->ClassName());
        m_pConfig->SetEnvironment(m_pEnvironment);
    } else {
        ZLOG_WITH(stream->m_logLevel, ClassName(), LOGLEVEL_DETAIL, "Node <%s> has NO config...",
                  m_name.c_str());
    }
    return true;
}
