// Input: switches (1: keep the port in the host, 2: keep the path there), then a URL.

#include "fuzz/target.hpp"
#include "tests/support/plain_rules.hpp"

/// The splitter answers what the plain rewrite of its rules answers.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned switches = input.switches();
    const bool keepPort = (switches & 1U) != 0;
    const bool keepPath = (switches & 2U) != 0;
    const std::string url(input.rest());
    fuzz::require(plain_rules::splitByLibrary(url, keepPort, keepPath) ==
                      plain_rules::split(url, keepPort, keepPath),
                  "the splitter agrees with its rules");
    return 0;
}
