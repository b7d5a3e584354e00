// JSON topology text in, through ZTopologyMsg::Deserialize: what is read must survive a trip
// through a fresh JSON stream with the same plug-ins, nodes and edges, and edits must hold.
#include <cstddef>
#include <cstdint>

#include "ZFuzzTopologyRoundTrip.h"
#include "ZMessages/ZJSONCommStream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ZFuzzTopologyRoundTrip::Run<ZJSONCommStream>(data, size);
    return 0;
}
