// The discovery node's requests measured from message in to answer out through the in-process
// transport, on graphs of 100 to 10,000 nodes, each beside the cost of cloning the same request
// (the answer to "addnode" is such a clone). Timings only: nothing here passes or fails.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "NodeBase/ZDiscoveryConnectMsg.h"
#include "NodeBase/ZDiscoveryFindNodeMsg.h"
#include "NodeBase/ZDiscoveryFindUIDMsg.h"
#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "NodeComm/ZCommManager.h"
#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "NodeDiscovery/ZNodeDiscovery.h"
#include "ZShared/ZLog.h"
#include "ZShared/ZMakeShared.h"

namespace {

constexpr const char* kManager = "Bench-NM";

// Benchmarks measure the work, not the log: lines are dropped for the whole run.
class ZDiscardingLogSink : public ZLogSink {
public:
    void Write(const ZLogRecord&) override {}
};
const bool g_bQuietLog = [] {
    ZLog::GetLogger()->SetSink(std::make_shared<ZDiscardingLogSink>());
    return true;
}();

// A discovery node on a private bus with `nodes` nodes (spread over node managers of 100 nodes each)
// and two edges per node; requests come from kManager, whose answers are counted.
class ZDiscoveryBench {
public:
    explicit ZDiscoveryBench(int nodes, int nodesPerManager = 100)
        : m_pBus(std::make_shared<ZLocalBus>()),
          m_pComm(std::make_shared<ZNodeCommLocal>(m_pBus)),
          m_pClient(std::make_shared<ZNodeCommLocal>(m_pBus)),
          m_sut(ZMakeShared<ZNodeDiscovery>("discovery")) {
        m_sut->Initialize(m_pComm, nullptr, m_sut->GetUID());
        m_sut->m_logLevel = 0;  // measure the work, not the log
        m_sut->m_pTopology->m_logLevel = 0;
        ZCommManager& registry = *m_pComm->GetCommManager();
        auto& graph = *m_sut->m_pTopology;
        graph.m_nodes.reserve(static_cast<std::size_t>(nodes) + 16);
        graph.m_edges.reserve(2 * static_cast<std::size_t>(nodes) + 16);
        for (int i = 0; i < nodes; ++i) {
            const ZNodeUID manager("NM", i / nodesPerManager);
            const ZNodeUID uid("Node", i);
            graph.m_nodes.emplace_back(uid, uid.AsString(), ZStringList(), i % 2 ? "ZRadar" : "ZAntenna", "G",
                                       manager);
            registry.RegisterNewNodeAndManager(manager, 1, uid, false);
            registry.UpdateLastNodeManagerContact(manager);
            const ZNodeUID next("Node", (i + 1) % nodes);
            graph.m_edges.emplace_back(ZCommEndpoint(uid, EP_STATUS, "out"),
                                       ZCommEndpoint(next, EP_CONTROL, "in"));
            graph.m_edges.emplace_back(ZCommEndpoint(next, EP_STATUS, "out"),
                                       ZCommEndpoint(uid, EP_CONTROL, "in"));
        }
        registry.NewNodeManager(ZNodeUID(kManager), 1, SystemVersionInfo(), false);
        for (const char* name : {"addnode", "finduid", "findnode", "gettopo", "topoconnect", "locking"}) {
            m_pClient->Subscribe(
                ZCommEndpoint(ZNodeUID(kManager), EP_RESPONSE, name),
                [this](const ZCommEndpoint&, const std::shared_ptr<ZMessage>&) { ++m_answers; });
        }
    }
    ~ZDiscoveryBench() { m_sut->StopAction(true); }

    // Publishes the request as kManager and lets the discovery node handle it.
    void Request(const char* name, const std::shared_ptr<ZMessage>& request) {
        request->SetSource(ZCommEndpoint(ZNodeUID(kManager), EP_CONTROL, name));
        m_pClient->Publish(ZCommEndpoint(ZNodeUID("ZNodeDiscovery1"), EP_CONTROL, name), request);
        m_sut->PumpOne();
    }

    std::shared_ptr<ZLocalBus> m_pBus;
    std::shared_ptr<ZNodeCommLocal> m_pComm;
    std::shared_ptr<ZNodeCommLocal> m_pClient;
    std::shared_ptr<ZNodeDiscovery> m_sut;
    std::atomic<std::int64_t> m_answers{0};
};

std::shared_ptr<ZDiscoveryRequestMsg> AddNodeRequest() {
    auto request = ZMakeShared<ZDiscoveryRequestMsg>();
    request->m_name = "bench node";
    request->m_aliases = {"alias"};
    request->m_className = "ZBenchNode";
    request->m_group = "G";
    request->m_nodeManagerUID = ZNodeUID(kManager);
    request->m_uid = ZNodeUID("BenchNode1");
    return request;
}

void BM_CloneAddNodeRequest(benchmark::State& state) {
    ZDiscoveryBench bench(100);
    const auto request = AddNodeRequest();
    for (auto _ : state) {
        benchmark::DoNotOptimize(bench.m_pComm->CloneMessage(request));
    }
}
BENCHMARK(BM_CloneAddNodeRequest);

// Each answer is timed beside a clone of the same request made right after it, so that the
// "x_clone" ratio compares the two under the same conditions even when the machine's speed drifts
// during the run.
void BM_AddNode(benchmark::State& state) {
    ZDiscoveryBench bench(static_cast<int>(state.range(0)));
    auto& nodes = bench.m_sut->m_pTopology->m_nodes;
    double answering = 0.0;
    double cloning = 0.0;
    // Timed by hand around the request alone: pausing the benchmark's own timer reads the process
    // CPU clock through a system call, which would cost as much as the request.
    for (auto _ : state) {
        auto request = AddNodeRequest();
        const auto start = std::chrono::steady_clock::now();
        bench.Request("addnode", request);
        const auto answered = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(bench.m_pComm->CloneMessage(request));
        const auto cloned = std::chrono::steady_clock::now();
        const double answer = std::chrono::duration<double>(answered - start).count();
        answering += answer;
        cloning += std::chrono::duration<double>(cloned - answered).count();
        state.SetIterationTime(answer);
        nodes.pop_back();  // keep the graph at its size
    }
    state.counters["answers"] = static_cast<double>(bench.m_answers.load());
    state.counters["clone_ns"] = cloning * 1e9 / static_cast<double>(state.iterations());
    state.counters["x_clone"] = answering / cloning;
}
BENCHMARK(BM_AddNode)->Arg(100)->Arg(1000)->Arg(10000)->UseManualTime();

void BM_FindUid(benchmark::State& state) {
    ZDiscoveryBench bench(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        auto request = ZMakeShared<ZDiscoveryFindUIDMsg>();
        request->m_className = "ZRadar";
        request->m_groupName = "elsewhere";  // no exact match: the best match of the class answers
        bench.Request("finduid", request);
    }
}
BENCHMARK(BM_FindUid)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000);

// The baseline beside BM_FindUid: the walk of the graph that answered "finduid" before the index,
// without the request around it.
void BM_FindUidWalkBaseline(benchmark::State& state) {
    ZDiscoveryBench bench(static_cast<int>(state.range(0)));
    const ZString className = "ZRadar";
    const ZString group = "elsewhere";
    for (auto _ : state) {
        const ZTopologyNode* best = nullptr;
        for (const auto& node : bench.m_sut->m_pTopology->m_nodes) {
            if (node.m_className != className) {
                continue;
            }
            if (node.m_group == group) {
                best = &node;
                break;
            }
            if (best == nullptr) {
                best = &node;
            }
        }
        benchmark::DoNotOptimize(best);
    }
}
BENCHMARK(BM_FindUidWalkBaseline)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000);

void BM_FindNode(benchmark::State& state) {
    ZDiscoveryBench bench(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        auto request = ZMakeShared<ZDiscoveryFindNodeMsg>();
        request->m_nodeUID = "NoSuchManager";
        bench.Request("findnode", request);
    }
}
BENCHMARK(BM_FindNode)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000);

void BM_GetTopo(benchmark::State& state) {
    ZDiscoveryBench bench(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        bench.Request("gettopo", ZMakeShared<ZTopologyMsg>());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_GetTopo)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_TopoConnect(benchmark::State& state) {
    ZDiscoveryBench bench(static_cast<int>(state.range(0)));
    auto& edges = bench.m_sut->m_pTopology->m_edges;
    for (auto _ : state) {
        auto request = ZMakeShared<ZDiscoveryConnectMsg>();
        request->m_edge = ZTopologyEdge(ZCommEndpoint(ZNodeUID("Node", 7), EP_STATUS, "scan"),
                                        ZCommEndpoint(ZNodeUID("Node", 3), EP_CONTROL, "show"));
        bench.Request("topoconnect", request);
        state.PauseTiming();
        edges.pop_back();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_TopoConnect)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000);

void BM_MonitorRunNoneDead(benchmark::State& state) {
    // range(0) node managers of one node each
    ZDiscoveryBench bench(static_cast<int>(state.range(0)), 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(bench.m_sut->OnMonitorTopoNodes());
    }
}
BENCHMARK(BM_MonitorRunNoneDead)->Arg(10)->Arg(100)->Arg(1000);

void BM_RemoveNodeManagerOf100Nodes(benchmark::State& state) {
    ZDiscoveryBench bench(10000);
    const auto prepared = *bench.m_sut->m_pTopology;
    for (auto _ : state) {
        state.PauseTiming();
        *bench.m_sut->m_pTopology = prepared;
        bench.m_pComm->GetCommManager()->RegisterNewNodeAndManager(ZNodeUID("NM", 42), 1,
                                                                   ZNodeUID("Node", 4200), false);
        auto request = ZMakeShared<ZRemoveNodeManagerMsg>();
        request->m_nodeManagerUID = ZNodeUID("NM", 42);
        state.ResumeTiming();
        bench.Request("removenodemanager", request);
    }
}
BENCHMARK(BM_RemoveNodeManagerOf100Nodes)->Unit(benchmark::kMillisecond);

void BM_LockUnlockRoundTrip(benchmark::State& state) {
    ZDiscoveryBench bench(100);
    bench.m_pComm->GetCommManager()->RegisterNewNodeAndManager(ZNodeUID("NM", 0), 1, ZNodeUID(kManager),
                                                               false);
    for (auto _ : state) {
        for (const bool lock : {true, false}) {
            auto request = ZMakeShared<ZDiscoveryLockUnlockMsg>();
            request->m_bLock = lock;
            request->SetResponseRequested(true);
            bench.Request("locking", request);
        }
    }
}
BENCHMARK(BM_LockUnlockRoundTrip);

}  // namespace
