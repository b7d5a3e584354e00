#include "ZInvariantChecker.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>
#include <set>
#include <utility>

namespace {

bool IsManagerRecord(const ZGraph::ZNode& node) {
    return node.m_className == "ZNodeManager" && node.m_uid == node.m_managerUID;
}

std::string Edge(const std::string& from, const std::string& to) {
    return from + " -> " + to;
}

std::string Join(const std::vector<std::string>& words, const char* separator) {
    std::string text;
    for (const auto& word : words) {
        text += (text.empty() ? "" : separator) + word;
    }
    return text;
}

}  // namespace

std::string ZInvariantChecker::ClockText(std::int64_t timeUs) {
    // UTC, as the logs of the processes stamp their lines.
    const std::time_t seconds = static_cast<std::time_t>(timeUs / 1000000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%H:%M:%S", &utc);
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%03dZ", static_cast<int>(timeUs % 1000000 / 1000));
    return std::string(text) + fraction;
}

void ZInvariantChecker::CheckGraph(const ZGraph& graph, const std::vector<ZRunning>& running,
                                   int discoveryDeadTimeSecs, ZResult& result) {
    std::map<std::string, const ZRunning*> runningByUID;
    for (const auto& manager : running) {
        runningByUID[manager.m_pPlan->m_uid] = &manager;
    }
    std::map<std::string, std::vector<const ZGraph::ZNode*>> holders;
    for (const auto& node : graph.m_nodes) {
        holders[node.m_uid].push_back(&node);
    }
    for (const auto& [uid, nodes] : holders) {
        if (nodes.size() > 1) {
            std::vector<std::string> who;
            for (const auto* node : nodes) {
                who.push_back(IsManagerRecord(*node) ? "node manager " + node->m_uid
                                                     : node->m_name + " of " + node->m_managerUID);
            }
            result.m_violations.push_back("UID " + uid + " held by " + std::to_string(nodes.size()) +
                                          " nodes: " + Join(who, ", "));
        }
    }

    std::map<std::string, int> managerRecords;
    std::map<std::pair<std::string, std::string>, std::vector<const ZGraph::ZNode*>> byName;
    for (const auto& node : graph.m_nodes) {
        if (IsManagerRecord(node)) {
            ++managerRecords[node.m_uid];
            if (runningByUID.count(node.m_uid) == 0) {
                result.m_pending.push_back("node manager " + node.m_uid +
                                           " is in the graph but does not run");
            }
            continue;
        }
        const auto owner = runningByUID.find(node.m_managerUID);
        if (owner == runningByUID.end()) {
            result.m_pending.push_back("node " + node.m_uid + " (" + node.m_name + ") of " +
                                       node.m_managerUID + ", which does not run, is in the graph");
            continue;
        }
        const ZManagerPlan::ZNode* configured = owner->second->m_pPlan->FindNode(node.m_name);
        if (configured == nullptr) {
            result.m_violations.push_back("node " + node.m_uid + " (" + node.m_name + ") of " +
                                          node.m_managerUID + " is not in its configuration");
            continue;
        }
        byName[{node.m_managerUID, node.m_name}].push_back(&node);
        if (!configured->m_uid.empty() && configured->m_uid != node.m_uid) {
            result.m_violations.push_back("node " + node.m_name + " of " + node.m_managerUID + " is " +
                                          node.m_uid + " in the graph, configured as " + configured->m_uid);
        }
    }

    for (const auto& manager : running) {
        const ZManagerPlan& plan = *manager.m_pPlan;
        const int records = managerRecords[plan.m_uid];
        if (records == 0) {
            result.m_pending.push_back("node manager " + plan.m_uid + " runs but is not in the graph");
        } else if (records > 1) {
            result.m_violations.push_back("node manager " + plan.m_uid + " is in the graph " +
                                          std::to_string(records) + " times");
        }
        if (manager.m_pLog != nullptr && !manager.m_pLog->IsRegistered()) {
            result.m_pending.push_back(plan.m_uid + " has not finished registering (its log)");
        } else if (manager.m_pLog != nullptr && !plan.HostsDiscovery()) {
            // The manager learns the discovery node's dead time from its first registration.
            const std::size_t warnings = manager.m_pLog->DeadTimeWarnings();
            const std::size_t wanted = plan.m_deadTimeSecs != discoveryDeadTimeSecs ? 1 : 0;
            if (warnings != wanted) {
                result.m_violations.push_back(
                    plan.m_uid + " (dead time " + std::to_string(plan.m_deadTimeSecs) +
                    " s, the discovery node's " + std::to_string(discoveryDeadTimeSecs) + " s) logged " +
                    std::to_string(warnings) + " warning(s) about it, not " + std::to_string(wanted));
            }
        }
        for (const auto& configured : plan.m_nodes) {
            const auto found = byName.find({plan.m_uid, configured.m_name});
            if (found == byName.end()) {
                result.m_pending.push_back("node " + configured.m_name + " of " + plan.m_uid +
                                           " is not in the graph");
                continue;
            }
            if (found->second.size() > 1) {
                result.m_violations.push_back("node " + configured.m_name + " of " + plan.m_uid +
                                              " is in the graph " + std::to_string(found->second.size()) +
                                              " times");
                continue;
            }
            if (manager.m_pLog == nullptr) {
                continue;
            }
            const std::string& uid = found->second.front()->m_uid;
            const auto& logged = manager.m_pLog->NodeUIDs();
            const auto entry = logged.find(configured.m_name);
            if (entry == logged.end()) {
                result.m_pending.push_back(plan.m_uid + " has not logged a UID for its node " +
                                           configured.m_name + " (" + uid + " in the graph)");
            } else if (entry->second != uid) {
                result.m_pending.push_back("node " + configured.m_name + " of " + plan.m_uid + " is " + uid +
                                           " in the graph, but its manager logged " + entry->second);
            }
        }
    }

    std::map<std::pair<std::string, std::string>, int> edges;
    for (const auto& edge : graph.m_edges) {
        ++edges[{edge.m_from, edge.m_to}];
    }
    std::set<std::pair<std::string, std::string>> declared;
    for (const auto& manager : running) {
        for (const auto& edge : manager.m_pPlan->m_edges) {
            declared.insert({edge.m_from, edge.m_to});
            const auto found = edges.find({edge.m_from, edge.m_to});
            const int count = found == edges.end() ? 0 : found->second;
            // A connection to another manager's node is made only if that one registered first, and
            // goes with it (docs/configuration.md): it may be missing, never doubled.
            if (count == 0 && !edge.m_bCross) {
                result.m_pending.push_back("connection " + Edge(edge.m_from, edge.m_to) + " of " +
                                           manager.m_pPlan->m_uid + " is not in the graph");
            } else if (count > 1) {
                result.m_violations.push_back("connection " + Edge(edge.m_from, edge.m_to) +
                                              " is in the graph " + std::to_string(count) + " times");
            }
        }
    }
    for (const auto& [ends, count] : edges) {
        if (declared.count(ends) == 0) {
            result.m_pending.push_back("connection " + Edge(ends.first, ends.second) +
                                       " of no running node manager is in the graph");
        }
    }
    for (const auto& edge : graph.m_edges) {
        for (const std::string& end : {edge.m_from, edge.m_to}) {
            const std::size_t first = end.find('/');
            const std::size_t second = end.find('/', first + 1);
            const std::string uid =
                first == std::string::npos ? end : end.substr(first + 1, second - first - 1);
            if (holders.count(uid) == 0) {
                result.m_violations.push_back("connection " + Edge(edge.m_from, edge.m_to) + " ends at " +
                                              uid + ", which is not in the graph");
            }
        }
    }
}

void ZInvariantChecker::CheckRemovals(const std::vector<ZTopologyObserver::ZRemoval>& removals,
                                      const std::vector<ZExpectedRemoval>& expected, ZResult& result) {
    std::vector<int> seen(expected.size(), 0);
    for (const auto& removal : removals) {
        const std::string what = removal.m_nodeManagerUID + " removed for \"" + removal.m_reason + "\" at " +
                                 ClockText(removal.m_timeUs);
        bool explained = false;
        std::string mismatch;
        for (std::size_t i = 0; i < expected.size() && !explained; ++i) {
            const auto& expectation = expected[i];
            if (expectation.m_uid != removal.m_nodeManagerUID) {
                continue;
            }
            const auto& reasons = expectation.m_reasons;
            if (std::find(reasons.begin(), reasons.end(), removal.m_reason) == reasons.end()) {
                mismatch = ", expected \"" + Join(reasons, "\" or \"") + "\"";
            } else if (seen[i] >= expectation.m_max) {
                mismatch = ", more often than the " + std::to_string(expectation.m_max) + " time(s) expected";
            } else {
                ++seen[i];
                explained = true;
            }
        }
        if (!explained) {
            result.m_violations.push_back(
                what + (mismatch.empty() ? ": no fault of this step explains it" : mismatch));
        }
    }
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (seen[i] < expected[i].m_min) {
            result.m_pending.push_back("no removal of " + expected[i].m_uid + " (\"" +
                                       Join(expected[i].m_reasons, "\" or \"") + "\") in the history");
        }
    }
}
