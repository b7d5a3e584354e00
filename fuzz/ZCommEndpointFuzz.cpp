// Endpoint text in, through Parse: an endpoint parsed from text must give back the same endpoint
// from its own text form, directly and through a binary stream.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ZFuzzStreamWalker.h"
#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZCommEndpoint.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ZFuzzStreamWalker::Silence();
    ZCommEndpoint parsed;
    parsed.Parse(std::string_view(reinterpret_cast<const char*>(data), size));
    if (parsed.m_type == EP_NULL || parsed.m_uid.AsString().find('/') != ZString::npos) {
        return 0;
    }
    const ZString text = parsed.AsString();
    ZCommEndpoint again;
    again.Parse(std::string_view(text.data(), text.size()));
    ZFuzzStreamWalker::Check(again == parsed && again.AsString() == text);

    auto stream = ZMakeShared<ZBinaryCommStream>();
    ZFuzzStreamWalker::Check(parsed.Serialize(stream, "endpoint"));
    ZCommEndpoint read;
    ZFuzzStreamWalker::Check(read.Deserialize(stream, "endpoint") && read == parsed);
    return 0;
}
