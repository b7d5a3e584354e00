#pragma once

#include <chrono>
#include <string>

namespace CLI {
class App;
}

// How ztopo prints its answers: "-o text|json|wide", and "ndjson" for watch.
enum class ZTopoFormat { TEXT, JSON, WIDE, NDJSON };

// ztopo's command line: the values it was given and the CLI11 description they are read with. The
// same description gives --help, the man page and the bash completion, so that the three never
// disagree.
struct ZTopoOptions {
    std::string m_broker = "mqtt://127.0.0.1:1883";
    std::string m_discovery = "ZNodeDiscovery1";
    double m_timeoutSecs = 3.0;
    std::string m_output = "text";
    std::string m_className;
    std::string m_group;
    std::string m_uid;
    std::string m_as;
    // Filters of show.
    std::string m_onlyGroup;
    std::string m_onlyClass;
    std::string m_onlyManager;
    // What the hidden generators were asked for: "man", "bash" or empty.
    std::string m_manual;

    std::chrono::milliseconds Timeout() const;
    ZTopoFormat Format() const;

    // Describes every option and subcommand on the app; the values land in this object.
    void AddTo(CLI::App& app);
    // The options that take a value, as they may appear before the subcommand.
    static bool TakesValue(const std::string& word);
};
