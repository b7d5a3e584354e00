#include "NodeBase/ZRemovalHistoryMsg.h"

#include "ZMessages/ZCommStream.h"
#include "ZRecordArray.h"

void ZRemovalRecord::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    stream->Serialize("nodeManagerUID", m_nodeManagerUID.AsString(), false);
    stream->Serialize("timeUs", m_timeUs, false);
    stream->Serialize("reason", m_reason, false);
}

void ZRemovalRecord::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    if (ZString text; stream->Deserialize("nodeManagerUID", text)) {
        m_nodeManagerUID = ZNodeUID(text);
    }
    stream->Deserialize("timeUs", m_timeUs);
    stream->Deserialize("reason", m_reason);
}

bool ZRemovalHistoryMsg::Serialize(const std::shared_ptr<ZCommStream>& stream) const {
    ZRecordArray::Write(stream, "records", m_records);
    return true;
}

bool ZRemovalHistoryMsg::Deserialize(const std::shared_ptr<ZCommStream>& stream) {
    // A history read is the whole history: a stream that holds one replaces the records.
    ZRecordArray::Read(stream, "records", nullptr, m_records);
    return true;
}
