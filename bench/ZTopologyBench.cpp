// Figures for the topology and the node-manager registry: writing and reading whole graphs, taking
// a node manager's nodes out of a graph, and stamping a node manager's last contact. Graph figures
// carry a time per node ("per_node", and items/s), so that sizes compare directly: a cost that grows
// faster than the graph shows as a per-node time that rises with the size.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>

#include "NodeBase/ZNodeToolsMetadata.h"
#include "NodeBase/ZTopologyMsg.h"
#include "NodeComm/ZCommManager.h"
#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZJSONCommStream.h"

namespace {

constexpr std::int32_t kOtherManagers = 99;

// A graph of `nodes` nodes, each the source of two edges (to the next node and to one seven
// further on). Node manager NM0 hosts `hosted` of them, spread evenly through the list so that a
// removal compacts the whole of it; managers NM1 to NM99 host the rest. The progress lines of a
// removal are not written: they would measure the log sink, not the graph.
ZTopologyMsg BuildGraph(std::int64_t nodes, std::int64_t hosted) {
    ZTopologyMsg graph;
    graph.m_logLevel = LOGLEVEL_WARNING;
    graph.m_plugins = {"libNodeBase.so", "libRadar.so", "libTracker.so"};
    auto box = ZMakeShared<ZNodeToolsMetadata>();
    box->m_editorSizeWidth = 120;
    box->m_editorSizeHeight = 64;
    const std::int64_t stride = std::max<std::int64_t>(1, nodes / std::max<std::int64_t>(1, hosted));
    std::int64_t hostedSoFar = 0;
    graph.m_nodes.reserve(static_cast<std::size_t>(nodes));
    for (std::int64_t i = 0; i < nodes; ++i) {
        const auto index = static_cast<std::int32_t>(i);
        const bool onTarget = i % stride == 0 && hostedSoFar < hosted;
        hostedSoFar += onTarget ? 1 : 0;
        const ZNodeUID manager("NM", onTarget ? 0 : 1 + index % kOtherManagers);
        const ZNodeUID uid("Node", index);
        graph.m_nodes.emplace_back(uid, uid.AsString(), ZStringList{uid.AsString() + "Alias"}, "ZRadar",
                                   "Sensors", manager);
        graph.m_nodes.back().m_pToolsMetadata = box;
    }
    graph.m_edges.reserve(static_cast<std::size_t>(2 * nodes));
    for (std::int64_t i = 0; i < nodes; ++i) {
        const ZCommEndpoint from(ZNodeUID("Node", static_cast<std::int32_t>(i)), EP_STATUS, "out");
        for (const std::int64_t step : {1, 7}) {
            const ZNodeUID to("Node", static_cast<std::int32_t>((i + step) % nodes));
            graph.m_edges.emplace_back(from, ZCommEndpoint(to, EP_CONTROL, "in"));
        }
    }
    return graph;
}

// The graph with NM0 hosting 1% of the nodes, as when every node manager hosts an equal share.
ZTopologyMsg BuildSharedGraph(std::int64_t nodes) {
    return BuildGraph(nodes, nodes / 100);
}

void ReportPerNode(benchmark::State& state, std::int64_t nodes) {
    state.SetItemsProcessed(state.iterations() * nodes);
    state.counters["per_node"] =
        benchmark::Counter(static_cast<double>(nodes),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <class Stream>
void BM_TopologySerialize(benchmark::State& state) {
    const std::int64_t nodes = state.range(0);
    const ZTopologyMsg graph = BuildSharedGraph(nodes);
    std::string data;
    for (auto _ : state) {
        auto stream = ZMakeShared<Stream>();
        graph.Serialize(stream);
        stream->GetData(data);
        benchmark::DoNotOptimize(data.data());
    }
    ReportPerNode(state, nodes);
    state.counters["bytes_per_node"] = static_cast<double>(data.size()) / static_cast<double>(nodes);
}
BENCHMARK_TEMPLATE(BM_TopologySerialize, ZJSONCommStream)->RangeMultiplier(10)->Range(100, 10000);
BENCHMARK_TEMPLATE(BM_TopologySerialize, ZBinaryCommStream)->RangeMultiplier(10)->Range(100, 10000);

template <class Stream>
void BM_TopologyDeserialize(benchmark::State& state) {
    const std::int64_t nodes = state.range(0);
    std::string data;
    {
        auto stream = ZMakeShared<Stream>();
        BuildSharedGraph(nodes).Serialize(stream);
        stream->GetData(data);
    }
    std::size_t nodesRead = 0;
    for (auto _ : state) {
        auto stream = ZMakeShared<Stream>();
        stream->SetData(data.data(), data.size());
        ZTopologyMsg graph;
        graph.Deserialize(stream);
        nodesRead = graph.m_nodes.size();
        benchmark::DoNotOptimize(graph.m_edges.data());
    }
    if (nodesRead != static_cast<std::size_t>(nodes)) {
        state.SkipWithError("the graph did not read back whole");
    }
    ReportPerNode(state, nodes);
}
BENCHMARK_TEMPLATE(BM_TopologyDeserialize, ZJSONCommStream)->RangeMultiplier(10)->Range(100, 10000);
BENCHMARK_TEMPLATE(BM_TopologyDeserialize, ZBinaryCommStream)->RangeMultiplier(10)->Range(100, 10000);

// Removes NM0's nodes from a fresh copy of the graph each time; the copy, and freeing what the
// previous removal left, happen with the clock paused.
void RemoveHostedNodes(benchmark::State& state, std::int64_t hosted) {
    const std::int64_t nodes = state.range(0);
    const ZTopologyMsg prepared = BuildGraph(nodes, hosted);
    const ZNodeUID manager("NM0");
    ZTopologyMsg graph;
    ZVector<ZNodeUID> removed;
    for (auto _ : state) {
        state.PauseTiming();
        graph = prepared;
        removed.clear();
        state.ResumeTiming();
        graph.RemoveNodes(manager, removed);
        benchmark::DoNotOptimize(graph.m_nodes.data());
    }
    if (removed.size() != static_cast<std::size_t>(hosted)) {
        state.SkipWithError("the node manager did not host the expected nodes");
    }
    ReportPerNode(state, nodes);
    state.counters["removed"] = static_cast<double>(removed.size());
}

void BM_TopologyRemoveNodesOnePercent(benchmark::State& state) {
    RemoveHostedNodes(state, state.range(0) / 100);
}
BENCHMARK(BM_TopologyRemoveNodesOnePercent)->RangeMultiplier(10)->Range(100, 10000);

void BM_TopologyRemoveNodesHundred(benchmark::State& state) {
    RemoveHostedNodes(state, 100);
}
BENCHMARK(BM_TopologyRemoveNodesHundred)->RangeMultiplier(10)->Range(100, 10000);

constexpr std::int32_t kRegisteredManagers = 100;

// One registry for every thread of the run, with its node managers registered once.
ZCommManager& Registry() {
    static ZCommManager registry;
    static const bool registered = [] {
        for (std::int32_t i = 0; i < kRegisteredManagers; ++i) {
            registry.NewNodeManager(ZNodeUID("NM", i), static_cast<std::uint32_t>(i), SystemVersionInfo(),
                                    false);
        }
        return true;
    }();
    (void)registered;
    return registry;
}

// Each thread walks the node managers in turn, from its own starting point.
void BM_RegistryUpdateLastContact(benchmark::State& state) {
    ZCommManager& registry = Registry();
    ZVector<ZNodeUID> managers;
    for (std::int32_t i = 0; i < kRegisteredManagers; ++i) {
        managers.emplace_back("NM", i);
    }
    std::size_t next = static_cast<std::size_t>(state.thread_index()) * 37 % managers.size();
    for (auto _ : state) {
        registry.UpdateLastNodeManagerContact(managers[next]);
        next = next + 1 == managers.size() ? 0 : next + 1;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RegistryUpdateLastContact)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace
