// Binary topology bytes in, through ZTopologyMsg::Deserialize: what is read must survive a trip
// through a fresh binary stream with the same plug-ins, nodes and edges, and edits must hold.
#include <cstddef>
#include <cstdint>

#include "ZFuzzTopologyRoundTrip.h"
#include "ZMessages/ZBinaryCommStream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ZFuzzTopologyRoundTrip::Run<ZBinaryCommStream>(data, size);
    return 0;
}
