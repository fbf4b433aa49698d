// Input: a boot parameter.

#include "platform/runtime/system.hpp"

#include "fuzz/target.hpp"
#include "net/http/transport/log.hpp"

/// A switch is on when its word stands in the parameter, between blanks or its ends.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string words(reinterpret_cast<const char*>(data), size);
    const std::string padded = ' ' + words + ' ';
    const auto stands = [&padded](const char* word) {
        return padded.find(' ' + std::string(word) + ' ') != std::string::npos;
    };
    Sys::setBootParameter(words);
    const auto switches = Libraries::Networks::HTTP::Utils::readDebugSwitches(Sys::bootParameter());
    fuzz::require(switches.connect == stands("lib.net.http.connect.debug"), "traces of connecting");
    fuzz::require(switches.sslCerts == stands("lib.net.http.sslcerts.debug"),
                  "dumps of certificates");
    return 0;
}
