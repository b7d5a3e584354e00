#include "ZTopoManual.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <sstream>
#include <vector>

#include "NodeBase/ZNodeManager.h"
#include "ZTopoOptions.h"

namespace {

// Text for roff: backslashes and hyphens escaped, no line starting with a control character.
std::string Roff(const std::string& text) {
    std::string escaped;
    bool lineStart = true;
    for (const char c : text) {
        if (lineStart && (c == '.' || c == '\'')) {
            escaped += "\\&";
        }
        if (c == '\\') {
            escaped += "\\\\";
        } else if (c == '-') {
            escaped += "\\-";
        } else {
            escaped += c;
        }
        lineStart = c == '\n';
    }
    return escaped;
}

// What a person sees: hidden options (group "") are for packaging.
bool IsListed(const CLI::Option* option) {
    return !option->get_group().empty();
}

bool TakesValue(const CLI::Option* option) {
    return option->get_items_expected_max() > 0 && !option->get_positional();
}

std::vector<const CLI::App*> Subcommands(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string Words(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

// The option names a command accepts, the help flag among them.
std::vector<std::string> OptionWords(const CLI::App& command) {
    std::vector<std::string> words;
    for (const CLI::Option* option : command.get_options(IsListed)) {
        for (const auto& name : option->get_snames()) {
            words.push_back("-" + name);
        }
        for (const auto& name : option->get_lnames()) {
            words.push_back("--" + name);
        }
    }
    return words;
}

}  // namespace

std::string ZTopoManual::Names(const CLI::Option& option) {
    if (option.get_positional()) {
        return option.get_name(true);
    }
    std::string names;
    for (const auto& name : option.get_snames()) {
        names += (names.empty() ? "-" : ", -") + name;
    }
    for (const auto& name : option.get_lnames()) {
        names += (names.empty() ? "--" : ", --") + name;
    }
    // CLI11 adds the checks' names after a colon ("URL:URL"): the first part is the value's.
    const std::string type = option.get_type_name().substr(0, option.get_type_name().find(':'));
    if (TakesValue(&option) && !type.empty()) {
        names += " " + type;
    }
    return names;
}

std::string ZTopoManual::Usage(const CLI::App& command) {
    std::string usage = command.get_name();
    for (const CLI::Option* option : command.get_options(IsListed)) {
        if (option->get_lnames() == std::vector<std::string>{"help"}) {
            continue;
        }
        const std::string names = option->get_positional() ? option->get_name(true) : Names(*option);
        usage += option->get_required() ? " " + names : " [" + names + "]";
    }
    return usage;
}

void ZTopoManual::PrintOptions(std::ostream& out, const CLI::App& command) {
    for (const CLI::Option* option : command.get_options(IsListed)) {
        out << ".TP\n.B " << Roff(Names(*option)) << "\n" << Roff(option->get_description());
        if (!option->get_envname().empty()) {
            out << " (environment: " << Roff(option->get_envname()) << ")";
        }
        if (!option->get_default_str().empty()) {
            out << " (default: " << Roff(option->get_default_str()) << ")";
        }
        out << "\n";
    }
}

void ZTopoManual::PrintMan(std::ostream& out) const {
    out << ".TH ZTOPO 1 \"\" \"ztopo " << ZNodeManager::kFrameworkVersion << "\" \"User Commands\"\n"
        << ".SH NAME\nztopo \\- " << Roff(m_app.get_description()) << "\n"
        << ".SH SYNOPSIS\n.B ztopo\n[\\fIOPTIONS\\fR] \\fISUBCOMMAND\\fR [\\fIARGS\\fR]\n"
        << ".SH DESCRIPTION\nztopo asks the discovery node of a running system over the broker and prints "
           "its "
           "answers on stdout, one line per fact where that makes sense; every complaint is one line on "
           "stderr starting with \\(lqztopo: \\(rq. The options may come before or after the subcommand.\n"
        << ".SH OPTIONS\n";
    PrintOptions(out, m_app);
    out << ".SH SUBCOMMANDS\n";
    for (const CLI::App* command : Subcommands(m_app)) {
        out << ".SS " << Roff(Usage(*command)) << "\n" << Roff(command->get_description()) << "\n";
        PrintOptions(out, *command);
    }
    out << ".SH EXIT STATUS\n";
    std::istringstream footer(m_app.get_footer());
    for (std::string line; std::getline(footer, line);) {
        // "  0  done"
        const auto first = line.find_first_not_of(' ');
        if (first == std::string::npos || !std::isdigit(static_cast<unsigned char>(line[first]))) {
            continue;
        }
        const auto gap = line.find(' ', first);
        out << ".TP\n.B " << line.substr(first, gap - first) << "\n"
            << Roff(line.substr(line.find_first_not_of(' ', gap))) << "\n";
    }
    out << ".SH ENVIRONMENT\n.TP\n.B ZTOPO_BROKER\nThe broker when \\-\\-broker is not given.\n"
        << ".TP\n.B ZBROKER_PASSWORD\nThe password for a broker URL with a user and no password.\n"
        << ".SH SEE ALSO\nztopo.md and wire\\-protocol.md in the package's documentation "
           "(share/doc/zframework).\n";
}

void ZTopoManual::PrintBashCompletion(std::ostream& out) const {
    std::vector<std::string> subcommands;
    std::vector<std::string> valued;
    for (const CLI::App* command : Subcommands(m_app)) {
        subcommands.push_back(command->get_name());
    }
    const auto addValued = [&valued](const CLI::App& command) {
        for (const CLI::Option* option : command.get_options(IsListed)) {
            if (!TakesValue(option) || option->get_lnames() == std::vector<std::string>{"output"}) {
                continue;
            }
            for (const auto& name : option->get_lnames()) {
                if (std::find(valued.begin(), valued.end(), "--" + name) == valued.end()) {
                    valued.push_back("--" + name);
                }
            }
        }
    };
    addValued(m_app);
    for (const CLI::App* command : Subcommands(m_app)) {
        addValued(*command);
    }
    out << "# bash completion for ztopo, written by ztopo from its own command line\n"
        << "_ztopo() {\n"
        << "    local cur=\"${COMP_WORDS[COMP_CWORD]}\" prev=\"${COMP_WORDS[COMP_CWORD-1]}\"\n"
        << "    local subcommands=\"" << Words(subcommands) << "\"\n"
        << "    case \"$prev\" in\n"
        << "        -o|--output) COMPREPLY=($(compgen -W \"text json wide ndjson\" -- \"$cur\")); return "
           ";;\n";
    std::string valuedPattern;
    for (const auto& word : valued) {
        valuedPattern += (valuedPattern.empty() ? "" : "|") + word;
    }
    if (!valuedPattern.empty()) {
        out << "        " << valuedPattern << ") return ;;\n";
    }
    out << "    esac\n"
        << "    local sub=\"\" i\n"
        << "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
        << "        case \" $subcommands \" in *\" ${COMP_WORDS[i]} \"*) sub=\"${COMP_WORDS[i]}\"; break ;; "
           "esac\n"
        << "    done\n"
        << "    local options=\"" << Words(OptionWords(m_app)) << "\"\n"
        << "    case \"$sub\" in\n";
    for (const CLI::App* command : Subcommands(m_app)) {
        const auto words = OptionWords(*command);
        if (!words.empty()) {
            out << "        " << command->get_name() << ") options+=\" " << Words(words) << "\" ;;\n";
        }
    }
    out << "    esac\n"
        << "    if [[ -z \"$sub\" && \"$cur\" != -* ]]; then\n"
        << "        COMPREPLY=($(compgen -W \"$subcommands\" -- \"$cur\"))\n"
        << "    else\n"
        << "        COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
        << "    fi\n"
        << "}\n"
        << "complete -F _ztopo ztopo\n";
}
