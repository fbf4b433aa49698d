// nethttp: the command line of the HTTP client. It uses what any application of the library may
// use, and nothing else of it.

#include <variant>

#include "platform/log/log.hpp"
#include "platform/network/network.hpp"
#include "platform/runtime/system.hpp"

#include "demo.hpp"
#include "exchanges.hpp"
#include "host.hpp"
#include "options.hpp"
#include "text.hpp"
#include "utilities.hpp"

namespace {

using Services::Network::Limits;

/// Lets the options win over what the environment's variables said.
void setUpEnvironment(const cli::Options& options) {
    if (options.boot) {
        Sys::setBootParameter(cli::stringOf(*options.boot));
    }
    if (options.logLevel) {
        SysLogFilter::setLevel(static_cast<std::uint32_t>(*options.logLevel));
    } else if (options.flags.has(cli::Request::Flag::Verbose)) {
        SysLogFilter::setLevel(1);
    }
    if (options.connectLimit) {
        Limits::setConnect(*options.connectLimit);
    }
    if (options.idleLimit) {
        Limits::setIdle(*options.idleLimit);
    }
}

cli::ExitStatus run(const cli::Options& options) {
    setUpEnvironment(options);
    switch (options.command) {
        case cli::Command::Exchange:
            return cli::performExchanges(options);
        case cli::Command::Demo:
            return cli::runDemo();
        default:
            return cli::runUtility(options);
    }
}

}  // namespace

int main(int count, char** arguments) {
    cli::host::prepareProcess();
    const auto read = cli::readOptions(count, arguments);
    const auto* const status = std::get_if<cli::ExitStatus>(&read);
    return status != nullptr ? *status : run(std::get<cli::Options>(read));
}
