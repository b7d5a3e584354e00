#pragma once

#include <memory>

#include "ZMessages/ZMessage.h"
#include "ZShared/ZLog.h"
#include "ZShared/ZNodeUID.h"

class ZConfig;
class ZNodeToolsMetadata;

// One node, or node manager, of the topology. Copies share the configuration and editor metadata
// objects; the record's own log channel is never copied.
class Z_EXPORT ZTopologyNode : public ZMessage {
    Z_FACTORY_CLASS(ZTopologyNode)

public:
    ZTopologyNode();
    ZTopologyNode(const ZNodeUID& uid, const ZString& name, const ZStringList& aliases,
                  const ZString& className, const ZString& group, const ZNodeUID& nodeManagerUID);
    ZTopologyNode(const ZTopologyNode& other);
    ZTopologyNode& operator=(const ZTopologyNode& other);
    ZTopologyNode(ZTopologyNode&& other) noexcept;
    ZTopologyNode& operator=(ZTopologyNode&& other) noexcept;
    ~ZTopologyNode() override;

    // group "." class "." name "(" uid ")"
    ZString AsString() const;

    // "name", "aliases", "group", "uid", "nodeManagerUID", "class", "logLevel", "toolsmetadata"
    // (when set), "ConfigFileName", then "config" (inline, or into the file named when there is one).
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override;
    // Reads the same keys; "uid" and "nodeManagerUID" become empty when absent. The configuration
    // comes from the named file when there is one, else from "config".
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override;

    ZString m_name;
    ZStringList m_aliases;
    ZString m_className;
    ZString m_group;
    ZNodeUID m_uid;
    ZNodeUID m_nodeManagerUID;
    ZLogLevel m_nodeLogLevel = LOGLEVEL_NONE;
    ZString m_configFileName;
    std::shared_ptr<ZConfig> m_pConfig;
    std::shared_ptr<ZNodeToolsMetadata> m_pToolsMetadata;
    const char* m_logSource = nullptr;
    std::int32_t m_logLevel = 0;

private:
    void CopyRecord(const ZTopologyNode& other);
    void MoveRecord(ZTopologyNode&& other) noexcept;
};
