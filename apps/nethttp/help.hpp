#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace cli {

/// What stands at the end of the help text.
extern const char* const helpExamples;

/// The layout of the help text: a group a paragraph, an option a line.
class HelpLayout final : public CLI::Formatter {
public:
    HelpLayout();
    std::string make_usage(const CLI::App* app, std::string name) const override;
    std::string make_positionals(const CLI::App* app) const override;
    std::string make_option_name(const CLI::Option* option, bool positional) const override;
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_subcommand(const CLI::App* command) const override;
};

/// Answers the help text of the program, or of the command that was asked for its own.
std::string helpText(const CLI::App& app);

}  // namespace cli
