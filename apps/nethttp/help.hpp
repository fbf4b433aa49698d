#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace cli {

/// What stands at the end of the help text.
extern const char* const helpExamples;

/// The layout of the help text.
class HelpLayout final : public CLI::Formatter {
public:
    HelpLayout() { column_width(34); }
    std::string make_usage(const CLI::App* app, std::string name) const override {
        if (app->get_parent() != nullptr) {
            return CLI::Formatter::make_usage(app, name);
        }
        return "Usage: nethttp [options] [URL]\n       nethttp COMMAND ...\n\n"
               "The URL may be left out when --host and --path are given.\n";
    }
    std::string make_positionals(const CLI::App* app) const override {
        return app->get_parent() != nullptr ? CLI::Formatter::make_positionals(app) : "";
    }
    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string& value = option->get_type_name();
        return option->get_expected_max() == 0 || value.empty() ? "" : ' ' + value;
    }
};

}  // namespace cli
