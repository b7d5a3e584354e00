#pragma once

#include <ostream>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// ztopo's man page and bash completion, written from the same CLI11 description that --help
// prints, so that a new subcommand or option shows in all three at once. Packaging runs
// `ztopo --man` and `ztopo --completion bash` at build time.
class ZTopoManual {
public:
    explicit ZTopoManual(const CLI::App& app) : m_app(app) {}

    void PrintMan(std::ostream& out) const;
    void PrintBashCompletion(std::ostream& out) const;

private:
    // "-o, --output FORMAT", or the positional's name.
    static std::string Names(const CLI::Option& option);
    static std::string Usage(const CLI::App& command);
    static void PrintOptions(std::ostream& out, const CLI::App& command);

    const CLI::App& m_app;
};
