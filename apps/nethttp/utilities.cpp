// The commands that show one static function of the library each.

#include "utilities.hpp"

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "platform/runtime/error.hpp"

#include "json_text.hpp"
#include "output.hpp"
#include "text.hpp"

using Libraries::Networks::HTTP::Client::Response;

namespace cli {

namespace {

/// Prints a line; `status` holds when that succeeds.
ExitStatus printLine(const std::string& text, ExitStatus status) {
    return writeToStandardOutput(text + '\n') ? status : Failed;
}

ExitStatus printLine(const Ref<String>& text) {
    return printLine(textOf(text, ""), Done);
}

ExitStatus split(const Options& options) {
    Ref<String> protocol;
    Ref<String> host;
    Ref<String> path;
    unsigned short port = 0;
    const bool ok =
        Request::splitUrl(stringOf(options.text), protocol, host, port, path, options.splitFlags);
    nlohmann::ordered_json line;
    line["ok"] = ok;
    line["error"] = ok ? 0 : Error::get();
    line["protocol"] = jsonOf(protocol);
    line["host"] = jsonOf(host);
    line["port"] = port;
    line["path"] = jsonOf(path);
    return printLine(lineOf(line), ok ? Done : Failed);
}

ExitStatus probe(const Options& options) {
    const bool reachable = Request::canConnect(stringOf(options.text), 0);
    return printLine(reachable ? "reachable" : "not reachable", reachable ? Done : Failed);
}

}  // namespace

ExitStatus runUtility(const Options& options) {
    const Ref<String> text = stringOf(options.text);
    switch (options.command) {
        case Command::Split:
            return split(options);
        case Command::Encode:
            return printLine(Request::httpEncode(text));
        case Command::Decode:
            return printLine(Request::httpDecode(text));
        case Command::Status:
            return printLine(Response::descriptionForStatusCode(options.statusCode));
        case Command::Probe:
            return probe(options);
        default:
            return printLine(Request::defaultUserAgent());
    }
}

}  // namespace cli
