#include "NodeBase/ZRemovalHistoryMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZRemovalHistoryMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    for (const auto& record : m_records) {
        auto child = stream->CreateChild();
        if (!child) {
            return false;
        }
        child->Serialize("nodeManagerUID", record.m_nodeManagerUID.AsString(), false);
        child->Serialize("timeUs", record.m_timeUs, false);
        child->Serialize("reason", record.m_reason, false);
        stream->SerializeArrayElement("records", child);
    }
    return true;
}

bool ZRemovalHistoryMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    // A history read is the whole history: a stream that holds one replaces the records.
    if (!stream->HasKey("records")) {
        return true;
    }
    m_records.clear();
    std::shared_ptr<void> cursor;
    auto child = stream->CreateChild();
    while (child && stream->DeserializeArrayElement("records", child, cursor)) {
        ZRemovalRecord& record = m_records.emplace_back();
        if (ZString text; child->Deserialize("nodeManagerUID", text)) {
            record.m_nodeManagerUID = ZNodeUID(text);
        }
        child->Deserialize("timeUs", record.m_timeUs);
        child->Deserialize("reason", record.m_reason);
        child = stream->CreateChild();
    }
    return true;
}
