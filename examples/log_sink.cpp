// Takes the records of the log itself, in place of standard error: keeps what went wrong with an
// exchange, to show it where the program shows its failures.
//
//   log_sink URL

#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include <platform/log/log.hpp>

#include <net/http/http.hpp>

namespace {

/// A record is written on the thread that performs, so each thread has a list of its own.
thread_local std::vector<std::string> failures;

void keepFailures(std::uint32_t level, const char* channel, std::string_view text) {
    constexpr std::uint32_t failure = 4;
    if (level >= failure) {
        // The text may hold what a server sent: escape it before it goes to a terminal.
        failures.push_back(std::string(channel) + ": " + std::string(text));
    }
}

}  // namespace

int main(int count, char** arguments) {
    using Libraries::Networks::HTTP::Client::Request;
    if (count != 2) {
        std::cerr << "usage: log_sink URL\n";
        return 2;
    }
    SysLogStream::setSink(keepFailures);
    const auto response = Request::create()->setUrl(arguments[1])->perform();
    if (response) {
        std::cout << response->statusCode() << '\n';
        return 0;
    }
    std::cout << Error::describe() << ", because of\n";
    for (const std::string& record : failures) {
        std::cout << "  " << record << '\n';
    }
    return 1;
}
