// Binary stream bytes in, through SetData: accepted bytes must read safely and come back from
// GetData exactly as given; writing over the content must leave bytes that SetData accepts.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "ZFuzzStreamWalker.h"
#include "ZMessages/ZBinaryCommStream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ZFuzzStreamWalker::Silence();
    auto stream = ZMakeShared<ZBinaryCommStream>();
    if (!stream->SetData(data, size)) {
        ZFuzzStreamWalker::Check(!stream->HasKey("class") && !stream->HasKey("text"));
        return 0;
    }
    std::string written;
    ZFuzzStreamWalker::Check(stream->GetData(written) && written.size() == size &&
                             std::memcmp(written.data(), data, size) == 0);
    ZFuzzStreamWalker::Walk(stream);
    std::string afterWalk;
    ZFuzzStreamWalker::Check(stream->GetData(afterWalk) && afterWalk == written);

    ZFuzzStreamWalker::Overwrite(stream);
    std::string rewritten;
    ZFuzzStreamWalker::Check(stream->GetData(rewritten));
    auto again = ZMakeShared<ZBinaryCommStream>();
    ZFuzzStreamWalker::Check(again->SetData(rewritten.data(), rewritten.size()));
    ZFuzzStreamWalker::Walk(again);
    return 0;
}
