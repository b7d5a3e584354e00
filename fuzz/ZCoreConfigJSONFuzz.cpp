// JSON configuration text in, through ZCoreConfigParams::Deserialize: the set read must survive a
// trip through a fresh JSON stream with the same records and device identity.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "ZCoreConfigs/ZCommsParams.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZLogParams.h"
#include "ZCoreConfigs/ZProcessEnvironment.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZCoreConfigs/ZTraceLogParams.h"
#include "ZFuzzStreamWalker.h"
#include "ZMessages/ZJSONCommStream.h"

namespace {

void Check(bool condition) {
    ZFuzzStreamWalker::Check(condition);
}

// A record found through GetConfig must be the kind asked for.
template <class T>
void CheckLookup(const ZCoreConfigParams& set) {
    if (const auto record = set.GetConfig<T>()) {
        Check(ZShared::CID::IsKindOf(T::m_cid, record->GetCID()));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ZFuzzStreamWalker::Silence();
    auto stream = ZMakeShared<ZJSONCommStream>();
    if (!stream->SetData(data, size)) {
        return 0;
    }
    ZCoreConfigParams first;
    Check(first.Deserialize(stream));

    // Paths resolve through a variable set here, so the result does not depend on the machine.
    // Resolving only reads the environment, so one serves every input.
    static const auto environment = [] {
        auto made = std::make_shared<ZProcessEnvironment>();
        made->SetVariable("ZHOME", "/var/lib/z");
        return made;
    }();
    first.SetEnvironment(environment);
    Check(first.ResolvePaths({}));
    CheckLookup<ZLogParams>(first);
    CheckLookup<ZTraceLogParams>(first);
    CheckLookup<ZCommsParams>(first);
    CheckLookup<ZSystemParams>(first);
    CheckLookup<ZCoreConfigParams>(first);

    auto written = ZMakeShared<ZJSONCommStream>();
    Check(first.Serialize(written));
    std::string text;
    Check(written->GetData(text));
    auto read = ZMakeShared<ZJSONCommStream>();
    Check(read->SetData(text.data(), text.size()));
    ZCoreConfigParams second;
    Check(second.Deserialize(read));

    Check(second.m_configParams.size() == first.m_configParams.size());
    for (const auto& [cid, record] : first.m_configParams) {
        const auto found = second.m_configParams.find(cid);
        Check(found != second.m_configParams.end() && found->second && record &&
              found->second->GetCID() == record->GetCID());
    }
    Check(second.m_deviceType == first.m_deviceType);
    Check(second.m_deviceModel == first.m_deviceModel);
    Check(second.m_versionTxt == first.m_versionTxt);
    Check(second.m_shutdownWatchdogEn == first.m_shutdownWatchdogEn);
    return 0;
}
