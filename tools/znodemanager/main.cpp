// znodemanager CONFIG: hosts a node manager and its nodes until SIGINT or SIGTERM.
#include <CLI/CLI.hpp>

#include "ZNodeManagerHost.h"

int main(int argc, char** argv) {
    CLI::App app{
        "Hosts a node manager and its nodes, registered with the discovery node, until SIGINT or SIGTERM.",
        "znodemanager"};
    ZNodeManagerHost::ZOptions options;
    app.add_option("CONFIG", options.m_configPath, "The node manager's configuration file")
        ->type_name("FILE");
    app.add_option("--module", options.m_modules, "Load this module as well (repeatable)")
        ->type_name("PATH")
        ->allow_extra_args(false);
    app.add_flag("--list-classes", options.m_bListClasses,
                 "Load the modules, print every class name the factory knows");
    app.add_flag("--check", options.m_bCheck,
                 "Check CONFIG (after loading its modules) and exit: 0 when it can be used, 2 when not");
    app.add_flag("--version", options.m_bVersion,
                 "Print the version, and each module's version tag and hash");
    app.add_option("--log-level", options.m_logLevel,
                   "Least level logged: 0 none, 1 detail ... 4 errors only (default: the level of the "
                   "configuration's ZLogParams, else 2)")
        ->check(CLI::Range(0, 4));
    app.add_option(
           "--dump-topology", options.m_dumpPath,
           "On exit, write the hosted discovery node's graph as JSON to FILE (before the manager leaves it)")
        ->type_name("FILE");
    app.add_option("--transport", options.m_transportURL,
                   "Transport URL over the configuration's \"TransportURL\" (mqtt://host:port, mqtts://...; "
                   "several brokers separated by commas)")
        ->type_name("URL");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }
    if (options.m_configPath.empty() && !options.m_bVersion && !options.m_bListClasses) {
        return app.exit(CLI::RequiredError("CONFIG"));
    }
    ZNodeManagerHost host(std::move(options));
    return host.Run();
}
