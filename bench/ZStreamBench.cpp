// Figures for the hot paths: stream round trips, message cloning, creation by class name and the
// small block allocator, each beside a baseline where one makes sense. Timings only: nothing here
// passes or fails.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "NodeComm/ZNodeComm.h"
#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZSmallBlockAllocator.h"

namespace {

// A transport that delivers nothing: only CloneMessage, which every transport inherits, is measured.
class ZBenchNodeComm : public ZNodeComm {
public:
    SubscriptionId Subscribe(const ZCommEndpoint&, Delivery) override { return 0; }
    bool Unsubscribe(SubscriptionId) override { return false; }
    bool Publish(const ZCommEndpoint&, const std::shared_ptr<ZMessage>&) override { return false; }
};

// One node of a topology-sized message: the identifiers and lists a node record carries.
class ZBenchNodeRecord : public ZCommStreamObject {
public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override {
        stream->Serialize("uid", m_uid, false);
        stream->Serialize("name", m_name, false);
        stream->Serialize("aliases", m_aliases, false);
        stream->Serialize("className", m_className, false);
        stream->Serialize("group", m_group, false);
        stream->Serialize("nodeManagerUID", m_nodeManagerUID, false);
        stream->Serialize("x", m_x, false);
        stream->Serialize("y", m_y, false);
        return true;
    }
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override {
        stream->Deserialize("uid", m_uid);
        stream->Deserialize("name", m_name);
        stream->Deserialize("aliases", m_aliases);
        stream->Deserialize("className", m_className);
        stream->Deserialize("group", m_group);
        stream->Deserialize("nodeManagerUID", m_nodeManagerUID);
        stream->Deserialize("x", m_x);
        stream->Deserialize("y", m_y);
        return true;
    }

    ZString m_uid, m_name, m_className, m_group, m_nodeManagerUID;
    ZStringList m_aliases;
    std::int32_t m_x = 0, m_y = 0;
};

// A message shaped like a node topology: a list of plugins and an array of node records.
class ZBenchTopologyMsg : public ZMessage {
    Z_FACTORY_CLASS(ZBenchTopologyMsg)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>& stream) const override {
        stream->Serialize("plugins", m_plugins, false);
        for (const auto& node : m_nodes) {
            auto child = stream->CreateChild();
            node.Serialize(child);
            stream->SerializeArrayElement("nodes", child);
        }
        return true;
    }
    bool Deserialize(const std::shared_ptr<ZCommStream>& stream) override {
        stream->Deserialize("plugins", m_plugins);
        std::shared_ptr<void> cursor;
        std::shared_ptr<ZCommStream> child = stream->CreateChild();
        while (stream->DeserializeArrayElement("nodes", child, cursor)) {
            m_nodes.emplace_back();
            m_nodes.back().Deserialize(child);
        }
        return true;
    }
    bool IsCloneable() const override { return true; }

    ZStringList m_plugins;
    ZVector<ZBenchNodeRecord> m_nodes;
};

const bool g_registered = [] {
    ZClassRegistration<ZBenchTopologyMsg>::Register("ZMessage");
    return true;
}();

std::shared_ptr<ZGenericResponseMsg> SampleResponse() {
    return ZMakeShared<ZGenericResponseMsg>("Could not find source node for connection", false,
                                            ZFrameworkErrorCodes::ERRCODE_BUSY);
}

template <class Stream>
void BM_RoundTripGeneric(benchmark::State& state) {
    const auto original = SampleResponse();
    std::string data;
    for (auto _ : state) {
        auto written = ZMakeShared<Stream>();
        original->Serialize(written);
        written->GetData(data);
        auto read = ZMakeShared<Stream>();
        read->SetData(data.data(), data.size());
        ZGenericResponseMsg copy;
        copy.Deserialize(read);
        benchmark::DoNotOptimize(copy.m_errCode);
    }
    state.counters["bytes"] = static_cast<double>(data.size());
}
BENCHMARK_TEMPLATE(BM_RoundTripGeneric, ZJSONCommStream);
BENCHMARK_TEMPLATE(BM_RoundTripGeneric, ZBinaryCommStream);

void BM_CloneMessageGeneric(benchmark::State& state) {
    ZBenchNodeComm comm;
    const std::shared_ptr<ZMessage> original = SampleResponse();
    for (auto _ : state) {
        auto copy = comm.CloneMessage(original);
        benchmark::DoNotOptimize(copy.get());
    }
}
BENCHMARK(BM_CloneMessageGeneric);

void BM_CloneTopology(benchmark::State& state) {
    ZBenchNodeComm comm;
    auto original = ZMakeShared<ZBenchTopologyMsg>();
    original->m_plugins = {"libNodeBase.so", "libNodeComm.so", "libZCoreConfigs.so"};
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        ZBenchNodeRecord node;
        const std::string number = std::to_string(i);
        node.m_uid = ("Node" + number).c_str();
        node.m_name = ("Node number " + number).c_str();
        node.m_aliases = {("alias" + number).c_str()};
        node.m_className = "ZGenericNode";
        node.m_group = "group";
        node.m_nodeManagerUID = "ZNodeManager1";
        node.m_x = static_cast<std::int32_t>(i);
        node.m_y = static_cast<std::int32_t>(2 * i);
        original->m_nodes.push_back(node);
    }
    const std::shared_ptr<ZMessage> message = original;
    for (auto _ : state) {
        auto copy = comm.CloneMessage(message);
        benchmark::DoNotOptimize(copy.get());
    }
}
BENCHMARK(BM_CloneTopology)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_FactoryCreateGeneric(benchmark::State& state) {
    for (auto _ : state) {
        auto made = ZShared::ZFactory::CreateShared("ZGenericResponseMsg");
        benchmark::DoNotOptimize(made.get());
    }
}
BENCHMARK(BM_FactoryCreateGeneric);

void BM_MakeSharedGeneric(benchmark::State& state) {
    for (auto _ : state) {
        auto made = ZMakeShared<ZGenericResponseMsg>();
        benchmark::DoNotOptimize(made.get());
    }
}
BENCHMARK(BM_MakeSharedGeneric);

void BM_SBAAllocate(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        void* block = g_SBA.AllocateMem(size);
        benchmark::DoNotOptimize(block);
        g_SBA.FreeMem(block);
    }
}
BENCHMARK(BM_SBAAllocate)->Arg(16)->Arg(64)->Arg(256);

void BM_NewDelete(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        char* block = new char[size];
        benchmark::DoNotOptimize(block);
        delete[] block;
    }
}
BENCHMARK(BM_NewDelete)->Arg(16)->Arg(64)->Arg(256);

}  // namespace
