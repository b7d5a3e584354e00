// zchaos: a fault campaign on a real system on loopback, checked against invariants.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <random>

#include "ZChaosCampaign.h"
#include "ZShared/ZLog.h"
#include "ZThresholdLogSink.h"

namespace {

void OnSignal(int) {
    ZChaosCampaign::RequestStop();
}

std::uint64_t FreshSeed() {
    std::random_device device;
    const auto now = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    // Short enough to type again.
    return ((static_cast<std::uint64_t>(device()) << 20) ^ now ^ static_cast<std::uint64_t>(::getpid())) %
           1000000000ull;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "Runs a real system on loopback (a broker, a discovery host, node managers), injects faults "
        "drawn from a seed and checks that the discovery node's graph is the system as it is.",
        "zchaos"};
    ZChaosOptions options;
    options.m_znodemanager = Z_ZNODEMANAGER;
    options.m_discoveryModule = Z_NODE_DISCOVERY_MODULE;
    app.add_option("--seed", options.m_seed,
                   "Seed of the system and the faults (default: a fresh one, printed)");
    app.add_option("--faults", options.m_faults, "Faults to inject")
        ->check(CLI::Range(1, 1000000))
        ->capture_default_str();
    app.add_option("--managers", options.m_managers, "Node managers besides the discovery host")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    app.add_option("--duration", options.m_durationMinutes,
                   "Inject faults for so many minutes instead of a count")
        ->check(CLI::Range(0.01, 7 * 24 * 60.0));
    app.add_option("--dead-time", options.m_deadTimeSecs, "The discovery node's dead time, seconds")
        ->check(CLI::Range(1, 60))
        ->capture_default_str();
    app.add_option("--settle-margin", options.m_settleMarginSecs,
                   "Seconds past the dead time a step may take to settle")
        ->check(CLI::Range(1, 600))
        ->capture_default_str();
    app.add_flag("--keep", options.m_bKeep,
                 "Keep the scratch folder with every log (kept anyway on violations)");
    app.add_option("--znodemanager", options.m_znodemanager, "The node-manager host program")
        ->check(CLI::ExistingFile)
        ->capture_default_str();
    app.add_option("--module", options.m_discoveryModule, "The discovery module")
        ->check(CLI::ExistingFile)
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& e) {
        std::fprintf(stderr, "zchaos: %s\n", e.what());
        return 2;
    }
    if (app.count("--seed") == 0) {
        options.m_seed = FreshSeed();
    }
    struct sigaction action {};
    action.sa_handler = &OnSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // Children are killed and reaped by their owners; a broken pipe to a child is not fatal.
    signal(SIGPIPE, SIG_IGN);
    // The observer's transport reports reconnections after every broker restart: only errors here.
    ZLog::GetLogger()->SetSink(std::make_shared<ZThresholdLogSink>(LOGLEVEL_ERROR));
    ZChaosCampaign campaign(std::move(options));
    return campaign.Run();
}
