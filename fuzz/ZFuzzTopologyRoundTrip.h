#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "NodeBase/ZTopologyMsg.h"
#include "ZFuzzStreamWalker.h"
#include "ZMessages/ZCommStream.h"

// Reads a topology from fuzzed stream content, writes it to a fresh stream of the same kind and
// reads that back: the copy must hold the same plug-ins, the same nodes (by UID and manager) and as
// many edges. Then edits what was read, checking what each edit promises.
class ZFuzzTopologyRoundTrip {
public:
    template <class Stream>
    static void Run(const std::uint8_t* data, std::size_t size) {
        ZFuzzStreamWalker::Silence();
        auto stream = ZMakeShared<Stream>();
        if (!stream->SetData(data, size)) {
            return;
        }
        ZTopologyMsg first;
        Check(first.Deserialize(stream));
        // A named configuration file is written by Serialize: input must never choose a path to write.
        for (auto& node : first.m_nodes) {
            node.m_configFileName.clear();
        }

        auto written = ZMakeShared<Stream>();
        Check(first.Serialize(written));
        std::string bytes;
        Check(written->GetData(bytes));
        auto read = ZMakeShared<Stream>();
        Check(read->SetData(bytes.data(), bytes.size()));
        ZTopologyMsg second;
        Check(second.Deserialize(read));
        CheckSameGraph(first, second);

        Edit(first);
    }

private:
    static void Check(bool condition) { ZFuzzStreamWalker::Check(condition); }

    static void CheckSameGraph(const ZTopologyMsg& first, const ZTopologyMsg& second) {
        Check(second.m_plugins == first.m_plugins);
        Check(second.m_nodes.size() == first.m_nodes.size());
        Check(second.m_edges.size() == first.m_edges.size());
        for (std::size_t i = 0; i < first.m_nodes.size(); ++i) {
            Check(second.m_nodes[i].m_uid == first.m_nodes[i].m_uid);
            Check(second.m_nodes[i].m_nodeManagerUID == first.m_nodes[i].m_nodeManagerUID);
        }
    }

    static bool Touches(const ZTopologyEdge& edge, const ZNodeUID& uid) {
        return edge.m_from.m_uid == uid || edge.m_to.m_uid == uid;
    }

    static void Edit(ZTopologyMsg& graph) {
        if (graph.m_nodes.empty()) {
            ZVector<ZNodeUID> removed;
            graph.RemoveNodes(ZNodeUID("NoSuchManager"), removed);
            Check(removed.empty());
            return;
        }
        const ZNodeUID uid = graph.m_nodes.front().m_uid;
        Check(graph.GetNode(uid) == &graph.m_nodes.front());
        const ZTopologyMsg& constGraph = graph;
        Check(constGraph.GetNode(uid) == &graph.m_nodes.front());

        // The manager of the first node always hosts at least that node.
        const ZNodeUID manager = graph.m_nodes.front().m_nodeManagerUID;
        const std::size_t nodesBefore = graph.m_nodes.size();
        ZVector<ZNodeUID> removed;
        graph.RemoveNodes(manager, removed);
        Check(!removed.empty() && removed.front() == uid);
        Check(graph.m_nodes.size() + removed.size() == nodesBefore);
        for (const auto& node : graph.m_nodes) {
            Check(node.m_nodeManagerUID != manager);
        }
        const std::set<ZNodeUID> gone(removed.begin(), removed.end());
        for (const auto& edge : graph.m_edges) {
            Check(gone.count(edge.m_from.m_uid) == 0 && gone.count(edge.m_to.m_uid) == 0);
        }

        if (!graph.m_edges.empty()) {
            const ZNodeUID target = graph.m_edges.front().m_to.m_uid;
            graph.RemoveEdges(target);
            for (const auto& edge : graph.m_edges) {
                Check(!Touches(edge, target));
            }
        }
    }
};
