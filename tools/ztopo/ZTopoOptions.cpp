#include "ZTopoOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>

#include "NodeBase/ZNodeManager.h"
#include "NodeComm/ZBrokerAddress.h"
#include "ZMessages/ZCommEndpoint.h"

namespace {

constexpr const char* kExitCodes =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the discovery node answered no (not found, lock denied, removal refused, no master)\n"
    "  2  usage error or bad argument\n"
    "  3  no answer within the time-out, or the broker cannot be reached\n"
    "  4  the broker refused the credentials or the client\n"
    "  5  the output could not be written";

// A CLI11 check that a UID can be one level of a topic.
CLI::Validator TopicSafe() {
    return CLI::Validator(
        [](std::string& uid) {
            std::string why;
            return ZCommEndpoint::IsTopicSafeUID(uid, &why) ? std::string() : "UID <" + uid + "> " + why;
        },
        "UID");
}

// Thrown by the hidden generators' options once read: the rest of the command line does not matter.
void StopForManual() {
    throw CLI::Success();
}

}  // namespace

std::chrono::milliseconds ZTopoOptions::Timeout() const {
    return std::chrono::milliseconds(std::max<long long>(1, std::llround(m_timeoutSecs * 1000.0)));
}

ZTopoFormat ZTopoOptions::Format() const {
    if (m_output == "json") {
        return ZTopoFormat::JSON;
    }
    if (m_output == "wide") {
        return ZTopoFormat::WIDE;
    }
    if (m_output == "ndjson") {
        return ZTopoFormat::NDJSON;
    }
    return ZTopoFormat::TEXT;
}

bool ZTopoOptions::TakesValue(const std::string& word) {
    return word == "--broker" || word == "--discovery" || word == "--timeout" || word == "-o" ||
           word == "--output";
}

void ZTopoOptions::AddTo(CLI::App& app) {
    app.footer(kExitCodes);
    app.require_subcommand(1);
    app.fallthrough();
    app.set_version_flag("--version", std::string("ztopo ") + ZNodeManager::kFrameworkVersion);
    app.add_option("--broker", m_broker, "Broker URL; several brokers of a cluster separated by commas")
        ->envname("ZTOPO_BROKER")
        ->type_name("URL")
        ->capture_default_str()
        ->check(CLI::Validator(
            [](std::string& url) {
                std::string why;
                return ZBrokerAddress().Parse(url, why) ? std::string() : why;
            },
            "URL"));
    app.add_option("--discovery", m_discovery, "UID of the discovery node")
        ->capture_default_str()
        ->check(TopicSafe());
    app.add_option("--timeout", m_timeoutSecs, "Seconds to wait for each answer")
        ->type_name("SECONDS")
        ->capture_default_str()
        ->check(CLI::Range(0.001, 86400.0));
    app.add_option("-o,--output", m_output,
                   "Output format: text, json (one JSON document), wide (more columns); watch also ndjson")
        ->type_name("FORMAT")
        ->capture_default_str()
        ->check(CLI::IsMember({"text", "json", "wide", "ndjson"}));
    // Generators for packaging, from this very description; not for people, so not listed.
    app.add_flag_callback(
           "--man",
           [this] {
               m_manual = "man";
               StopForManual();
           },
           "Print the man page")
        ->group("");
    app.add_option_function<std::string>(
           "--completion",
           [this](const std::string& shell) {
               m_manual = shell;
               StopForManual();
           },
           "Print the completion script for the shell")
        ->check(CLI::IsMember({"bash"}))
        ->group("");

    auto* show =
        app.add_subcommand("show", "Print the topology as a tree: node managers, nodes, groups, connections");
    show->add_option("--group", m_onlyGroup, "Only the nodes and node managers of this group")
        ->type_name("GROUP");
    show->add_option("--class", m_onlyClass, "Only the nodes of this class")->type_name("CLASS");
    show->add_option("--manager", m_onlyManager, "Only this node manager and its nodes")
        ->type_name("UID")
        ->check(TopicSafe());
    app.add_subcommand("json", "Print the topology as JSON");
    app.add_subcommand("dot", "Print the topology as a Graphviz drawing");
    app.add_subcommand("watch",
                       "Print what changes in the topology, one block per change, until SIGINT/SIGTERM");
    auto* findUID = app.add_subcommand("find-uid", "Print the UID of a node of a class");
    findUID->add_option("CLASS", m_className, "Class name")->required();
    findUID->add_option("--group", m_group, "Only a node of this group")->type_name("GROUP");
    auto* findNode = app.add_subcommand("find-node", "Ask whether the discovery node knows a node manager");
    findNode->add_option("UID", m_uid, "UID of the node manager")->required()->check(TopicSafe());
    app.add_subcommand("master", "Print the UID of the master node manager");
    for (const char* name : {"lock", "unlock"}) {
        auto* locking =
            app.add_subcommand(name, std::string(name == std::string("lock") ? "Lock" : "Unlock") +
                                         " the topology for the node manager of the node given by --as");
        locking->add_option("--as", m_as, "A node or node manager on whose behalf to ask")
            ->required()
            ->type_name("UID")
            ->check(TopicSafe());
    }
    auto* remove = app.add_subcommand("remove", "Remove a node manager and its nodes from the topology");
    remove->add_option("NODEMANAGER", m_uid, "UID of the node manager")->required()->check(TopicSafe());
    app.add_subcommand("history", "Print the latest removals of node managers, oldest first");
    app.add_subcommand(
        "managers", "Print the registered node managers: host, process, version, session, age, last contact");
    app.add_subcommand("lock-status", "Print who holds the registration lock and since when");
    auto* describe = app.add_subcommand(
        "describe", "Print all that is known of a node or node manager and its connections");
    describe->add_option("UID", m_uid, "UID of the node or node manager")->required()->check(TopicSafe());
}
