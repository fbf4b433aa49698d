// The texts and the layout of `nethttp --help`.

#include "help.hpp"

#include <sstream>

namespace cli {

namespace {

constexpr std::size_t textColumn = 32;

bool isCommand(const CLI::App& app) {
    return app.get_parent() != nullptr;
}

/// Answers the names of an app's positional arguments, each with a blank before it.
std::string positionalNames(const CLI::App& app) {
    std::string names;
    for (const CLI::Option* const option : app.get_options()) {
        names += option->get_positional() ? ' ' + option->get_name(true) : "";
    }
    return names;
}

}  // namespace

const char* const helpExamples =
    "Examples:\n"
    "  nethttp http://127.0.0.1:8080/           print the body\n"
    "  nethttp -o page.html --progress URL      save it, with a progress bar\n"
    "  nethttp -X POST -d a=1 -H 'A: b' URL     send a body and a header field\n"
    "  nethttp -X PUT -T photo.jpg -f URL       upload a file; status 22 if refused\n"
    "  nethttp --report r.json URL              tell a script what happened\n"
    "  nethttp -v URL                           watch the exchange\n"
    "\n"
    "Exit status: 0 a response was received; 1 an exchange failed, or a file could\n"
    "not be read or written; 2 the options are wrong; 22 see --fail; 130 Ctrl-C.";

HelpLayout::HelpLayout() {
    column_width(textColumn);
}

std::string HelpLayout::make_usage(const CLI::App* app, std::string) const {
    if (isCommand(*app)) {
        return "Usage: nethttp " + app->get_name() + " [options]" + positionalNames(*app) + '\n';
    }
    return "Usage: nethttp [options] [URL]\n       nethttp COMMAND ...\n\n"
           "The URL may be left out when --host and --path are given.\n";
}

std::string HelpLayout::make_positionals(const CLI::App*) const {
    return "";
}

std::string HelpLayout::make_option_name(const CLI::Option* option, bool positional) const {
    std::string name = CLI::Formatter::make_option_name(option, positional);
    const std::size_t comma = name.find(',');
    return comma == name.npos ? name : name.insert(comma + 1, " ");
}

std::string HelpLayout::make_option_opts(const CLI::Option* option) const {
    const std::string& value = option->get_type_name();
    return option->get_expected_max() == 0 || value.empty() ? "" : ' ' + value;
}

std::string HelpLayout::make_subcommand(const CLI::App* command) const {
    std::ostringstream line;
    CLI::detail::format_help(line, command->get_name() + positionalNames(*command),
                             command->get_description(), textColumn);
    return line.str();
}

std::string helpText(const CLI::App& app) {
    std::string text = app.help();
    // The groups come with two blank lines between them.
    for (std::size_t gap = 0; (gap = text.find("\n\n\n", gap)) != text.npos;) {
        text.erase(gap, 1);
    }
    return text;
}

}  // namespace cli
