// The command line: which options there are, what each one stores, and what is refused. CLI11 cuts
// the arguments apart; every value is read by a reader of arguments.hpp.

#include "options.hpp"

#include <algorithm>
#include <functional>
#include <string_view>

#include <CLI/CLI.hpp>

#include "arguments.hpp"
#include "help.hpp"
#include "messages.hpp"
#include "option_checks.hpp"
#include "output.hpp"

namespace cli {

namespace {

constexpr const char* requestGroup = "Request";
constexpr const char* tlsGroup = "TLS";
constexpr const char* resultGroup = "Result";
constexpr const char* environmentGroup = "Environment (for the commands too)";

/// How an option looks: its names, the name of its value, its line of help, its group.
struct Look {
    const char* names;
    const char* value;
    const char* help;
    const char* group;
};

/// Adds an option whose value `store` takes; it answers false to refuse the value, which is then
/// complained of as "not" what `expected` says.
CLI::Option* add(CLI::App& app, const Look& look, const std::string& expected,
                 const std::function<bool(const std::string&)>& store) {
    const auto take = [name = std::string(look.names), expected,
                       store](const CLI::results_t& values) {
        for (const std::string& value : values) {
            if (!store(value)) {
                throw CLI::ValidationError(name, '\'' + value + "' is not " + expected);
            }
        }
        return true;
    };
    CLI::Option* const option = app.add_option(look.names, CLI::callback_t(take), look.help);
    return option->type_name(look.value)->group(look.group);
}

template <class Value>
CLI::Option* addRead(CLI::App& app, const Look& look, const std::string& expected,
                     std::optional<Value>& target,
                     const std::function<std::optional<Value>(const std::string&)>& read) {
    return add(app, look, expected, [&target, read](const std::string& text) {
        target = read(text);
        return target.has_value();
    });
}

CLI::Option* addText(CLI::App& app, const Look& look, std::optional<std::string>& target) {
    return add(app, look, "a text", [&target](const std::string& text) {
        target = text;
        return true;
    });
}

/// Answers a reader of numbers within bounds.
std::function<std::optional<std::uint64_t>(const std::string&)> numberWithin(
    std::uint64_t smallest, std::uint64_t largest) {
    return [smallest, largest](const std::string& text) {
        return readNumber(text, smallest, largest);
    };
}

void addFlag(CLI::App& app, const Look& look, Options& options, Request::Flag flag) {
    app.add_flag_callback(
           look.names, [&options, flag] { options.flags.add(flag); }, look.help)
        ->group(look.group);
}

void addTarget(CLI::App& app, Options& options) {
    addText(app, {"URL", "", "Whom to ask for what", ""}, options.url);
    addRead<std::string>(app,
                         {"-X,--method", "TOKEN", "The method; GET unless given", requestGroup},
                         "a method token", options.method, readMethod);
    addRead<Request::Protocol>(
        app,
        {"--protocol", "NAME", "auto, http or https: the protocol to speak, whatever the URL says",
         requestGroup},
        "auto, http or https", options.protocol, readProtocol);
    addText(app, {"--host", "HOST", "The host to connect to, in place of the URL's", requestGroup},
            options.host);
    addRead<std::uint64_t>(app, {"--port", "N", "The port, in place of the URL's", requestGroup},
                           "a port from 0 to 65535", options.port, numberWithin(0, 65535));
    addText(app, {"--path", "PATH", "Path and query, in place of the URL's", requestGroup},
            options.path);
    addRead<Request::Version>(
        app, {"--http-version", "V", "1.0 (unless given) or 1.1 in the request line", requestGroup},
        "1.0 or 1.1", options.version, readVersion);
}

void addContent(CLI::App& app, Options& options) {
    const auto storeHeader = [&options](const std::string& text) {
        auto header = readHeader(text);
        if (header) {
            options.headers.push_back(std::move(*header));
        }
        return header.has_value();
    };
    add(app,
        {"-H,--header", "FIELD", "A header field 'Name: value'; may be repeated", requestGroup},
        "one line of the form 'Name: value'", storeHeader)
        ->take_all()
        ->allow_extra_args(false);
    CLI::Option* const body = addText(
        app, {"-d,--body", "TEXT", "A body: the bytes of TEXT", requestGroup}, options.body);
    addText(app, {"-T,--body-file", "FILE", "A body: FILE, or - for standard input", requestGroup},
            options.bodyFile)
        ->excludes(body);
    addFlag(app, {"--disallow-http", "", "Refuse http, on redirects too", requestGroup}, options,
            Request::Flag::DisallowHttp);
    addFlag(app, {"--disallow-https", "", "Refuse https, on redirects too", requestGroup}, options,
            Request::Flag::DisallowHttps);
    addFlag(app,
            {"--no-default-user-agent", "", "Add no User-Agent of the library's own", requestGroup},
            options, Request::Flag::NoDefaultUserAgent);
    addFlag(app, {"--no-redirect", "", "Take a redirect as the result", requestGroup}, options,
            Request::Flag::NoRedirect);
    addFlag(
        app,
        {"--ssl-ignore-untrusted", "", "Accept self-signed and untrusted certificates", tlsGroup},
        options, Request::Flag::SslIgnoreUntrusted);
    addFlag(
        app,
        {"--ssl-ignore-validity-period", "", "Accept certificates outside their dates", tlsGroup},
        options, Request::Flag::SslIgnoreValidityPeriod);
    addFlag(app,
            {"--ssl-ignore-invalid", "", "Accept certificates that are wrong otherwise", tlsGroup},
            options, Request::Flag::SslIgnoreInvalid);
}

void addResult(CLI::App& app, Options& options) {
    add(app,
        {"-o,--output", "FILE", "Where the body goes; - (unless given) is standard output",
         resultGroup},
        "a file", [&options](const std::string& text) {
            options.output = text;
            return true;
        });
    app.add_flag("--memory", options.memory, "Collect the body in memory, write it when complete")
        ->group(resultGroup);
    addText(app, {"--report", "FILE", "Write what happened to FILE, one line of JSON", resultGroup},
            options.report);
    app.add_flag("-f,--fail", options.fail,
                 "End with status 22 when the response's is 400 or above")
        ->group(resultGroup);
    CLI::Option* const progress = app.add_flag_callback(
                                         "--progress", [&options] { options.progress = true; },
                                         "Show a progress bar on standard error in any case")
                                      ->group(resultGroup);
    app.add_flag_callback(
           "--no-progress", [&options] { options.progress = false; },
           "Show none, even on a terminal")
        ->group(resultGroup)
        ->excludes(progress);
    add(app, {"--repeat", "N", "Perform the request N times", resultGroup}, "a number from 1 on",
        [&options](const std::string& text) {
            const auto number = readNumber(text, 1, UINT64_MAX);
            options.repeat = number.value_or(0);
            return number.has_value();
        });
    addRead<std::uint64_t>(
        app, {"--cancel-after", "N", "Cancel when asked the Nth time whether to", resultGroup},
        "a number from 1 on", options.cancelAfter, numberWithin(1, UINT64_MAX));
}

void addEnvironment(CLI::App& app, Options& options) {
    app.add_flag_callback(
           "-v,--verbose", [&options] { options.flags.add(Request::Flag::Verbose); },
           "Trace the exchange in the log (its level becomes 1)")
        ->group(resultGroup);
    addRead<std::uint64_t>(
        app,
        {"--log-level", "N", "1 trace, 3 warnings (unless given), 4 failures, 5 nothing",
         environmentGroup},
        "a level from 1 to 5", options.logLevel, numberWithin(1, 5));
    addRead<std::uint64_t>(
        app,
        {"--connect-timeout", "S", "Seconds a connect may take; 0: no limit", environmentGroup},
        "a time in seconds", options.connectLimit, readSeconds);
    addRead<std::uint64_t>(
        app,
        {"--idle-timeout", "S", "Seconds without a byte moving; 0: no limit", environmentGroup},
        "a time in seconds", options.idleLimit, readSeconds);
    addText(
        app,
        {"--boot", "WORDS", "The boot parameter's text, with its debug words", environmentGroup},
        options.boot);
}

/// Adds a command; options of the environment may stand behind it, too.
CLI::App* addCommand(CLI::App& app, Options& options, Command command, const char* name,
                     const char* help) {
    CLI::App* const sub = app.add_subcommand(name, help)->fallthrough();
    sub->parse_complete_callback([&options, command] { options.command = command; });
    return sub;
}

void addUtilities(CLI::App& app, Options& options) {
    const auto addArgument = [&options](CLI::App* sub, const char* name, const char* help) {
        add(*sub, {name, "", help, "Positionals"}, "a text", [&options](const std::string& text) {
            options.text = text;
            return true;
        })->required();
    };
    const auto addSplitFlag = [&options](CLI::App* sub, const char* name, const char* help,
                                         Request::SplitFlag flag) {
        sub->add_flag_callback(
            name, [&options, flag] { options.splitFlags.add(flag); }, help);
    };
    CLI::App* const split =
        addCommand(app, options, Command::Split, "split", "Print the parts of a URL as JSON");
    addArgument(split, "URL", "The URL to split");
    addSplitFlag(split, "--keep-port-in-host", "Leave the port in the host",
                 Request::SplitFlag::KeepPortInHost);
    addSplitFlag(split, "--keep-path-in-host", "Leave the path in the host",
                 Request::SplitFlag::KeepPathInHost);
    addArgument(addCommand(app, options, Command::Encode, "encode",
                           "Print a text escaped for use in a URL"),
                "TEXT", "The text to escape");
    addArgument(addCommand(app, options, Command::Decode, "decode",
                           "Print a text with its escapes made characters"),
                "TEXT", "The text to unescape");
    CLI::App* const status = addCommand(app, options, Command::Status, "status",
                                        "Print the description of a status code");
    add(*status, {"CODE", "", "The status code", "Positionals"}, "a number",
        [&options](const std::string& text) {
            const auto number = readNumber(text, 0, UINT64_MAX);
            options.statusCode = number.value_or(0);
            return number.has_value();
        })
        ->required();
    addCommand(app, options, Command::UserAgent, "user-agent", "Print the default user agent");
    addArgument(addCommand(app, options, Command::Probe, "probe",
                           "Tell whether a URL's server accepts connections"),
                "URL", "The URL of the server");
    addCommand(app, options, Command::Demo, "demo",
               "Show the library at work against a server inside the program");
}

/// Answers what is wrong with options that are sound each by itself, or nothing.
std::string wrongTogether(const CLI::App& app, const Options& options) {
    if (options.command != Command::Exchange) {
        const std::string command = app.get_subcommands().front()->get_name();
        for (const CLI::Option* const option : app.get_options()) {
            if (option->count() != 0 && option->get_group() != environmentGroup) {
                return option->get_name() + " has no meaning for '" + command + '\'';
            }
        }
        return {};
    }
    if (!options.url && !(options.host && options.path)) {
        return "a URL is missing: give one, or --host and --path";
    }
    const std::string wrong = options.url ? wrongUrl(*options.url) : std::string();
    return wrong.empty() ? clashOfFiles(options) : wrong;
}

/// The arguments in the order in which CLI11 takes them: the last one first.
std::vector<std::string> reversedArguments(const CLI::App& app, int count,
                                           const char* const* arguments) {
    std::vector<std::string> result;
    for (int index = 1; index < count; ++index) {
        const std::string_view argument = arguments[index];
        const std::string_view name = argument.substr(0, argument.size() - !argument.empty());
        // "--body=" means an empty value, not that the next argument is the value.
        const bool emptyValue = argument.ends_with('=') && name.starts_with("--") &&
                                app.get_option_no_throw(std::string(name)) != nullptr;
        result.emplace_back(emptyValue ? name : argument);
        if (emptyValue) {
            result.emplace_back();
        }
    }
    // A text to convert is taken as it stands, even when it looks like an option.
    if (result.size() == 2 && (result[0] == "encode" || result[0] == "decode") &&
        result[1] != "-h" && result[1] != "--help") {
        result.insert(result.begin() + 1, "--");
    }
    std::reverse(result.begin(), result.end());
    return result;
}

ExitStatus print(const std::string& text) {
    return writeToStandardOutput(text) ? Done : Failed;
}

ExitStatus refuse(const std::string& what) {
    complain(what);
    return WrongOptions;
}

}  // namespace

std::variant<Options, ExitStatus> readOptions(int count, const char* const* arguments) {
    Options options;
    CLI::App app("Performs one HTTP or HTTPS request, and its redirects.", "nethttp");
    app.formatter(std::make_shared<HelpLayout>());
    app.set_help_flag("-h,--help", "Print this text")->group(environmentGroup);
    app.set_version_flag("--version", "nethttp " NETHTTP_VERSION, "Print the program's version")
        ->group(environmentGroup);
    app.require_subcommand(0, 1);
    app.footer(helpExamples);
    addTarget(app, options);
    addContent(app, options);
    addResult(app, options);
    addEnvironment(app, options);
    addUtilities(app, options);
    try {
        app.parse(reversedArguments(app, count, arguments));
    } catch (const CLI::CallForHelp&) {
        return print(app.help());
    } catch (const CLI::CallForVersion& version) {
        return print(std::string(version.what()) + '\n');
    } catch (const CLI::ParseError& error) {
        return refuse(error.what());
    }
    const std::string wrong = wrongTogether(app, options);
    if (!wrong.empty()) {
        return refuse(wrong);
    }
    return options;
}

}  // namespace cli
