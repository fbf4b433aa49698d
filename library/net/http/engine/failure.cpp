// What the failures of a transfer have in common.

#include "net/http/engine/failure.hpp"

#include "net/http/http.hpp"
#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Client {

bool failTransfer(std::string_view text, std::uint32_t code) {
    if (Utils::LogRecord record{Utils::Channel::HttpClient, Utils::Level::Failure}) {
        record << text << Utils::hexDec(code);
    }
    Error::set(ErrTransfer);
    return false;
}

}  // namespace Libraries::Networks::HTTP::Client
