// Input: the arguments of the command line, with line feeds between them.

#include "apps/nethttp/options.hpp"

#include <vector>

#include "apps/nethttp/messages.hpp"
#include "apps/nethttp/output.hpp"
#include "fuzz/target.hpp"

namespace cli {
namespace {

std::vector<std::string> complaints;
std::string printed;

}  // namespace

// In the place of the program's own, which write.
void complain(std::string_view text) {
    complaints.emplace_back(text);
}
bool writeToStandardOutput(std::string_view text) {
    printed += text;
    return true;
}

namespace {

void requireSoundExchange(const Options& options) {
    fuzz::require(options.url || (options.host && options.path), "there is something to ask for");
    fuzz::require(!(options.body && options.bodyFile), "there is one body");
    for (const auto& [name, value] : options.headers) {
        fuzz::require(!name.empty() && (name + value).find_first_of("\r\n") == std::string::npos,
                      "a field is one line with a name");
    }
    fuzz::require(!options.method || options.method->find_first_of(" \r\n\t:") == std::string::npos,
                  "a method is a token");
}

void requireSoundness(const Options& options) {
    constexpr std::uint64_t thirtyYears = 1'000'000'000'000;
    fuzz::require(options.port.value_or(0) <= 65535, "a port is one");
    fuzz::require(options.repeat >= 1 && options.cancelAfter.value_or(1) >= 1, "counts start at 1");
    fuzz::require(options.logLevel.value_or(1) >= 1 && options.logLevel.value_or(1) <= 5,
                  "a level is one");
    fuzz::require(options.connectLimit.value_or(0) <= thirtyYears &&
                      options.idleLimit.value_or(0) <= thirtyYears,
                  "a limit is one");
    if (options.command == Command::Exchange) {
        requireSoundExchange(options);
    }
}

}  // namespace
}  // namespace cli

/// Arguments are sound options, or a help text, or one complaint.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    std::vector<std::string> texts = {"nethttp"};
    while (!input.empty()) {
        texts.emplace_back(input.until("\n"));
    }
    std::vector<const char*> arguments;
    arguments.reserve(texts.size());
    for (const std::string& text : texts) {
        arguments.push_back(text.c_str());
    }
    cli::complaints.clear();
    cli::printed.clear();
    const auto result = cli::readOptions(static_cast<int>(arguments.size()), arguments.data());
    const auto* const status = std::get_if<cli::ExitStatus>(&result);
    const bool wrong = status != nullptr && *status == cli::WrongOptions;
    fuzz::require(cli::complaints.size() == (wrong ? 1U : 0U), "one complaint of wrong options");
    fuzz::require(!wrong || !cli::complaints[0].empty(), "a complaint says something");
    fuzz::require(cli::printed.empty() == (status == nullptr || wrong), "the rest has a text");
    if (status == nullptr) {
        cli::requireSoundness(std::get<cli::Options>(result));
    }
    return 0;
}
