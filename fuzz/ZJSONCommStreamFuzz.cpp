// JSON text in, through SetData: accepted text must read safely, and what GetData writes must be
// accepted again and written back unchanged.
#include <cstddef>
#include <cstdint>
#include <string>

#include "ZFuzzStreamWalker.h"
#include "ZMessages/ZJSONCommStream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ZFuzzStreamWalker::Silence();
    auto stream = ZMakeShared<ZJSONCommStream>();
    if (!stream->SetData(data, size)) {
        ZFuzzStreamWalker::Check(!stream->HasKey("class") && !stream->HasKey("text"));
        return 0;
    }
    std::string written;
    ZFuzzStreamWalker::Check(stream->GetData(written));
    ZFuzzStreamWalker::Walk(stream);

    auto again = ZMakeShared<ZJSONCommStream>();
    ZFuzzStreamWalker::Check(again->SetData(written.data(), written.size()));
    std::string rewritten;
    ZFuzzStreamWalker::Check(again->GetData(rewritten) && rewritten == written);

    ZFuzzStreamWalker::Overwrite(stream);
    ZFuzzStreamWalker::Check(stream->GetData(written) && again->SetData(written.data(), written.size()));
    return 0;
}
