#pragma once

#include <CLI/CLI.hpp>

namespace tool {

// The text of --help: 80 columns wide, with one sentence to each command of a list.
class Help : public CLI::Formatter {
public:
    std::string make_usage(CLI::App const* app, std::string name) const override;
    std::string make_description(CLI::App const* app) const override;
    std::string make_subcommand(CLI::App const* command) const override;
    std::string make_option(CLI::Option const* option, bool positional) const override;
};

// The first sentence of a description, without its full stop.
std::string firstSentence(std::string const& text);

// What stands behind the command's name: "[OPTION]... PATH [FILE]...".
std::string synopsis(CLI::App const& command);

// "-l, --layout".
std::vector<std::string> namesOf(CLI::Option const& option);
// The words that the option takes, where they are a fixed list.
std::vector<std::string> choicesOf(CLI::Option const& option);
bool takesValue(CLI::Option const& option);
// "FILE", or "auto|always|never".
std::string valueOf(CLI::Option const& option);
std::vector<CLI::Option const*> optionsOf(CLI::App const& app, bool positional);
std::string joined(std::vector<std::string> const& words, char const* between);

}  // namespace tool
