#include "NodeBase/ZNumberingMsg.h"

#include "ZMessages/ZCommStream.h"

bool ZNumberingMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    for (const auto& counter : m_counters) {
        auto child = stream->CreateChild();
        if (!child) {
            return false;
        }
        child->Serialize("className", counter.m_className, false);
        child->Serialize("lastID", counter.m_lastID, false);
        stream->SerializeArrayElement("counters", child);
    }
    return true;
}

bool ZNumberingMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (!stream->HasKey("counters")) {
        return true;
    }
    m_counters.clear();
    std::shared_ptr<void> cursor;
    auto child = stream->CreateChild();
    while (child && stream->DeserializeArrayElement("counters", child, cursor)) {
        ZCounter& counter = m_counters.emplace_back();
        child->Deserialize("className", counter.m_className);
        child->Deserialize("lastID", counter.m_lastID);
        child = stream->CreateChild();
    }
    return true;
}
