#include "ZMessages/ZCommStreamObject.h"

#include "ZMessages/ZCommStream.h"

ZCommStreamObject::~ZCommStreamObject() = default;

void ZCommStreamObject::SetEnvironment(std::shared_ptr<ZEnvironment> environment) {
    m_pEnvironment = std::move(environment);
}

bool ZCommStreamObject::Serialize(const std::shared_ptr<ZCommStream>& stream) const { return stream != nullptr; }

bool ZCommStreamObject::Deserialize(const std::shared_ptr<ZCommStream>& stream) { return stream != nullptr; }

bool ZCommStreamObject::SerializeClass(const std::shared_ptr<ZCommStream>& stream) const {
    if (!stream) {
        return false;
    }
    stream->Serialize("class", ClassName(), false);
    return Serialize(stream);
}

bool ZCommStreamObject::DeserializeClass(const std::shared_ptr<ZCommStream>& stream) {
    if (!stream) {
        return false;
    }
    ZString className;
    if (stream->Deserialize("class", className) && className != ClassName()) {
        ZLOG_WITH(stream->m_logLevel, stream->m_logSource, LOGLEVEL_WARNING,
                  "Stream holds a <%s>, not a <%s>: nothing read", className.c_str(), ClassName());
        return false;
    }
    return Deserialize(stream);
}
