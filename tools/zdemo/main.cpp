// zdemo: the embedded demo. One process, the in-process transport, no broker.
#include <CLI/CLI.hpp>

#include "ZDemo.h"

int main(int argc, char** argv) {
    CLI::App app{
        "The embedded demo: node managers register with a discovery node, look each other up, "
        "restart and fall silent; the run is printed as a timeline and the final topology as a tree.",
        "zdemo"};
    ZDemo::ZOptions options;
    options.m_modulePath = Z_NODE_DISCOVERY_MODULE;
    options.m_outDir = "./demo-output";
    app.add_option("--module", options.m_modulePath, "The discovery module to load")->capture_default_str();
    app.add_option("--out", options.m_outDir, "Folder for topology.json and topology.dot")
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }
    ZDemo demo(std::move(options));
    return demo.Run();
}
