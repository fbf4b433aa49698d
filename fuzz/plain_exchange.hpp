#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// The response side of an exchange once more, in the plainest way: every answer is there at once.
namespace plain_exchange {

struct Ending {
    std::uint32_t code = 0;  ///< 0: there is a response.
    std::size_t connections = 0;
    std::uint64_t status = 0;
    std::string reason = "(null)";
    /// By name in lower case: the value of the first field of that name.
    std::map<std::string, std::string> fields;
    std::string url;
    bool redirected = false;
    std::string body;             ///< All that may be delivered...
    std::size_t leastOfBody = 0;  ///< ...and how much of it has to be.
};

/// Answers how an exchange with "http://server/path?query" ends, which is not to use https.
///
/// @param answers  One for each connection; then they are empty. @param follow  Redirects, that is.
Ending endingOf(const std::vector<std::string>& answers, bool follow);

}  // namespace plain_exchange
