#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <net/http/http.hpp>

namespace cli {

using Libraries::Networks::HTTP::Client::Request;

/// How the program ends. Scripts depend on the numbers.
///
/// A signal that ended the program before everything was done adds its number to `StatusOfSignal`, as
/// shells have it: 130 for Ctrl-C.
enum ExitStatus : int {
    Done = 0,
    Failed = 1,
    WrongOptions = 2,
    BadResponse = 22,
    StatusOfSignal = 128
};

/// What the program is asked to do.
enum class Command { Exchange, Split, Encode, Decode, Status, UserAgent, Probe, Demo };

/// The command line, read and checked. An absent value leaves its setting untouched.
struct Options {
    Command command = Command::Exchange;

    // The request.
    std::optional<std::string> url;
    std::optional<std::string> method;
    std::optional<Request::Protocol> protocol;
    std::optional<std::string> host;
    std::optional<std::uint64_t> port;
    std::optional<std::string> path;
    std::vector<std::pair<std::string, std::string>> headers;
    std::optional<std::string> body;
    std::optional<std::string> bodyFile;  ///< "-": standard input.
    std::optional<Request::Version> version;
    Definitions::Set<Request::Flag> flags;

    // What becomes of it.
    std::string output = "-";  ///< "-": standard output.
    bool memory = false;
    std::optional<bool> progress;
    std::optional<std::string> report;
    bool fail = false;
    std::uint64_t repeat = 1;
    std::optional<std::uint64_t> cancelAfter;

    // The environment.
    std::optional<std::uint64_t> connectLimit;  ///< Milliseconds; 0: none.
    std::optional<std::uint64_t> idleLimit;     ///< Milliseconds; 0: none.
    std::optional<std::uint64_t> logLevel;
    std::optional<std::string> boot;

    // The utilities; their URL stands in `text`.
    std::string text;
    std::uint64_t statusCode = 0;
    Definitions::Set<Request::SplitFlag> splitFlags;
};

/// Reads the command line. Help and version are written, and wrong options complained of, here.
///
/// @return The options, or the status with which the program ends at once.
std::variant<Options, ExitStatus> readOptions(int count, const char* const* arguments);

}  // namespace cli
