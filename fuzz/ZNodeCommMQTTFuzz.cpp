// One MQTT payload in, through ZNodeCommMQTT::Decode as the network thread calls it: a payload is
// either dropped with a reason or read as a message of a registered class. A message read must
// travel again: its encoding must decode, and encode to the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "NodeComm/ZNodeCommMQTT.h"
#include "ZFuzzStreamWalker.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ZFuzzStreamWalker::Silence();
    std::string why;
    const auto message = ZNodeCommMQTT::Decode(data, size, why);
    if (!message) {
        ZFuzzStreamWalker::Check(!why.empty());
        return 0;
    }
    ZFuzzStreamWalker::Check(why.empty());

    std::string payload;
    ZFuzzStreamWalker::Check(ZNodeCommMQTT::Encode(*message, payload));
    const auto again = ZNodeCommMQTT::Decode(payload.data(), payload.size(), why);
    ZFuzzStreamWalker::Check(again != nullptr && std::strcmp(again->ClassName(), message->ClassName()) == 0);
    std::string repeated;
    ZFuzzStreamWalker::Check(ZNodeCommMQTT::Encode(*again, repeated) && repeated == payload);
    return 0;
}
