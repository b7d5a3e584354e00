#include "NodeBase/ZNumberingMsg.h"

#include "ZMessages/ZCommStream.h"
#include "ZRecordArray.h"

void ZNumberingMsg::ZCounter::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("className", m_className, false);
    stream->Serialize("lastID", m_lastID, false);
}

void ZNumberingMsg::ZCounter::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    stream->Deserialize("className", m_className);
    stream->Deserialize("lastID", m_lastID);
}

bool ZNumberingMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    ZRecordArray::Write(stream, "counters", m_counters);
    return true;
}

bool ZNumberingMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    ZRecordArray::Read(stream, "counters", nullptr, m_counters);
    return true;
}
