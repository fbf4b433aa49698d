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

constexpr const char* generalGroup = "General (for the commands too)";

/// What a value has to be, in words and in code.
template <class Value>
struct Reader {
    const char* expected;
    std::function<std::optional<Value>(const std::string&)> read;
};

Reader<std::uint64_t> numberWithin(std::uint64_t smallest, std::uint64_t largest,
                                   const char* expected) {
    return {expected, [smallest, largest](const std::string& text) {
                return readNumber(text, smallest, largest);
            }};
}

/// Adds options that stand together in the help text.
class Group {
public:
    Group(CLI::App& app, const char* name) : app_(app), name_(name) {}

    /// Adds an option whose value `store` takes; it answers false to refuse the value, which then
    /// is complained of as not what `expected` says.
    CLI::Option* add(const char* names, const char* value, const char* help, const char* expected,
                     const std::function<bool(const std::string&)>& store) {
        const auto take = [names, expected, store](const CLI::results_t& values) {
            for (const std::string& text : values) {
                if (!store(text)) {
                    throw CLI::ValidationError(names, '\'' + text + "' is not " + expected);
                }
            }
            return true;
        };
        CLI::Option* const option = app_.add_option(names, CLI::callback_t(take), help);
        return option->type_name(value)->group(name_);
    }
    template <class Value, class Target>
    CLI::Option* read(const char* names, const char* value, const char* help,
                      const Reader<Value>& reader, Target& target) {
        return add(names, value, help, reader.expected,
                   [read = reader.read, &target](const std::string& text) {
                       const std::optional<Value> result = read(text);
                       if (result) {
                           target = *result;
                       }
                       return result.has_value();
                   });
    }
    template <class Target>
    CLI::Option* text(const char* names, const char* value, const char* help, Target& target) {
        const Reader<std::string> any = {"a text", [](const std::string& given) { return given; }};
        return read(names, value, help, any, target);
    }
    CLI::Option* flag(const char* names, const char* help, const std::function<void()>& set) {
        return app_.add_flag_callback(names, set, help)->group(name_);
    }

private:
    CLI::App& app_;
    const char* name_;
};

void addTarget(CLI::App& app, Options& options) {
    const Reader<std::string> method = {"a method token", readMethod};
    const Reader<Request::Protocol> protocol = {"auto, http or https", readProtocol};
    const Reader<Request::Version> version = {"1.0 or 1.1", readVersion};
    Group group(app, "Request");
    group.text("URL", "", "", options.url);
    group.read("-X,--method", "TOKEN", "The method; GET unless given", method, options.method);
    group.read("--protocol", "NAME", "auto, http or https, whatever the URL says", protocol,
               options.protocol);
    group.text("--host", "HOST", "Connect to HOST, whatever the URL says", options.host);
    group.read("--port", "N", "Connect to port N, whatever the URL says",
               numberWithin(0, 65535, "a port from 0 to 65535"), options.port);
    group.text("--path", "PATH", "Ask for PATH, whatever the URL says", options.path);
    group.read("--http-version", "V", "1.0 (unless given) or 1.1", version, options.version);
}

void addContent(CLI::App& app, Options& options) {
    const auto storeHeader = [&options](const std::string& text) {
        auto header = readHeader(text);
        if (header) {
            options.headers.push_back(std::move(*header));
        }
        return header.has_value();
    };
    Group group(app, "Request");
    group
        .add("-H,--header", "FIELD", "A field 'Name: value'; may be repeated",
             "one line of the form 'Name: value'", storeHeader)
        ->take_all();
    CLI::Option* const body =
        group.text("-d,--body", "TEXT", "A body: the bytes of TEXT", options.body);
    group.text("-T,--body-file", "FILE", "A body: FILE, or - for standard input", options.bodyFile)
        ->excludes(body);
}

void addFlags(CLI::App& app, Options& options) {
    struct Row {
        const char* group;
        const char* name;
        const char* help;
        Request::Flag flag;
    };
    constexpr Row rows[] = {
        {"Request", "--disallow-http", "Refuse http, on redirects too",
         Request::Flag::DisallowHttp},
        {"Request", "--disallow-https", "Refuse https, on redirects too",
         Request::Flag::DisallowHttps},
        {"Request", "--no-default-user-agent", "Add no User-Agent of the library's own",
         Request::Flag::NoDefaultUserAgent},
        {"Request", "--no-redirect", "Take a redirect as the result", Request::Flag::NoRedirect},
        {"TLS", "--ssl-ignore-untrusted", "Accept self-signed certificates",
         Request::Flag::SslIgnoreUntrusted},
        {"TLS", "--ssl-ignore-validity-period", "Accept certificates outside their dates",
         Request::Flag::SslIgnoreValidityPeriod},
        {"TLS", "--ssl-ignore-invalid", "Accept any issuer, host name and purpose",
         Request::Flag::SslIgnoreInvalid},
        {"Result", "-v,--verbose", "Trace the exchange in the log", Request::Flag::Verbose},
    };
    for (const Row& row : rows) {
        Group(app, row.group).flag(row.name, row.help, [&options, flag = row.flag] {
            options.flags.add(flag);
        });
    }
}

void addResult(CLI::App& app, Options& options) {
    const auto count = numberWithin(1, UINT64_MAX, "a number from 1 on");
    Group group(app, "Result");
    group.text("-o,--output", "FILE", "Where the body goes; - is standard output", options.output);
    group.flag("--memory", "Hold the body in memory, write it at the end",
               [&options] { options.memory = true; });
    group.text("--report", "FILE", "Write what happened to FILE, as JSON", options.report);
    group.flag("-f,--fail", "End with status 22 from response status 400 on",
               [&options] { options.fail = true; });
    CLI::Option* const progress = group.flag("--progress", "Show a progress bar in any case",
                                             [&options] { options.progress = true; });
    group
        .flag("--no-progress", "Show no progress bar, even on a terminal",
              [&options] { options.progress = false; })
        ->excludes(progress);
    group.read("--repeat", "N", "Perform the request N times", count, options.repeat);
    group.read("--cancel-after", "N", "Cancel when asked for the Nth time", count,
               options.cancelAfter);
}

void addGeneral(CLI::App& app, Options& options) {
    const Reader<std::uint64_t> seconds = {"a time in seconds", readSeconds};
    Group group(app, generalGroup);
    group.read("--log-level", "N", "1 trace, 3 warnings (default), 4 failures, 5 off",
               numberWithin(1, 5, "a level from 1 to 5"), options.logLevel);
    group.read("--connect-timeout", "S", "Seconds a connect may take; 0: no limit", seconds,
               options.connectLimit);
    group.read("--idle-timeout", "S", "Seconds without a byte moving; 0: no limit", seconds,
               options.idleLimit);
    group.text("--boot", "WORDS", "The boot parameter: words that switch traces on", options.boot);
    app.set_help_flag("-h,--help", "Print this text")->group(generalGroup);
    app.set_version_flag("--version", "nethttp " NETHTTP_VERSION, "Print the program's version")
        ->group(generalGroup);
}

/// Adds a command; the general options may stand behind it, too.
CLI::App& addCommand(CLI::App& app, Options& options, Command command, const char* name,
                     const char* help) {
    CLI::App* const sub = app.add_subcommand(name, help)->fallthrough()->group("Commands");
    sub->parse_complete_callback([&options, command] { options.command = command; });
    return *sub;
}

void addCommands(CLI::App& app, Options& options) {
    struct Row {
        Command command;
        const char* name;
        const char* argument;
        const char* help;
    };
    constexpr Row rows[] = {
        {Command::Split, "split", "URL", "Print the parts of a URL as JSON"},
        {Command::Encode, "encode", "TEXT", "Print a text escaped for use in a URL"},
        {Command::Decode, "decode", "TEXT", "Print a text with its escapes made characters"},
        {Command::Status, "status", "CODE", "Print the description of a status code"},
        {Command::UserAgent, "user-agent", nullptr, "Print the default user agent"},
        {Command::Probe, "probe", "URL", "Tell whether a URL's server accepts connections"},
        {Command::Demo, "demo", nullptr, "Show the library at work, on a server of its own"},
    };
    const auto code = numberWithin(0, UINT64_MAX, "a number");
    for (const Row& row : rows) {
        CLI::App& sub = addCommand(app, options, row.command, row.name, row.help);
        Group group(sub, "Positionals");
        if (row.command == Command::Status) {
            group.read(row.argument, "", "", code, options.statusCode)->required();
        } else if (row.argument != nullptr) {
            group.text(row.argument, "", "", options.text)->required();
        }
        if (row.command == Command::Split) {
            Group flags(sub, "Options");
            flags.flag("--keep-port-in-host", "Leave the port in the host",
                       [&options] { options.splitFlags.add(Request::SplitFlag::KeepPortInHost); });
            flags.flag("--keep-path-in-host", "Leave the path in the host",
                       [&options] { options.splitFlags.add(Request::SplitFlag::KeepPathInHost); });
        }
    }
}

/// Answers what is wrong with options that are sound each by itself, or nothing.
std::string wrongTogether(const CLI::App& app, const Options& options) {
    if (options.command != Command::Exchange) {
        // Its list of commands lacks one that stands behind "--"; it takes that, too.
        const auto commands =
            app.get_subcommands([](const CLI::App* sub) { return sub->parsed(); });
        const std::string command = commands.front()->get_name();
        for (const CLI::Option* const option : app.get_options()) {
            if (option->count() != 0 && option->get_group() != generalGroup) {
                const bool hasValue = option->get_expected_max() != 0;
                const std::string value = hasValue ? " '" + option->results().front() + '\'' : "";
                return (option->get_name() + value)
                    .append(" has no meaning for '" + command + '\'');
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

/// Answers what to say of the arguments that nothing took: an unknown option comes first, because
/// what was meant as its value is left over with it.
std::string unexpected(const CLI::App& app) {
    std::vector<std::string> left = app.remaining(true);
    left.erase(std::remove(left.begin(), left.end(), "--"), left.end());  // but not as an argument
    for (const std::string& argument : left) {
        if (argument.size() > 1 && argument.front() == '-') {
            return "unknown option '" + argument + '\'';
        }
    }
    return "unexpected argument '" + (left.empty() ? std::string() : left.front()) + '\'';
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
    app.require_subcommand(0, 1);
    addTarget(app, options);
    addContent(app, options);
    addFlags(app, options);
    addResult(app, options);
    addGeneral(app, options);
    addCommands(app, options);
    app.footer(helpExamples);  // behind the commands, which would inherit it
    try {
        app.parse(reversedArguments(app, count, arguments));
    } catch (const CLI::CallForHelp&) {
        return print(helpText(app));
    } catch (const CLI::CallForVersion& version) {
        return print(std::string(version.what()) + '\n');
    } catch (const CLI::ExtrasError&) {
        return refuse(unexpected(app));
    } catch (const CLI::ArgumentMismatch& mismatch) {
        const std::string_view what = mismatch.what();
        const bool repeated = what.find("received") != what.npos;
        return refuse(std::string(what.substr(0, what.find(':'))) +
                      (repeated ? ": given more than once" : ": a value is missing"));
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
