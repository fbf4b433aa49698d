#pragma once

#include <string_view>

#include "net/http/http.hpp"

namespace Libraries::Networks::HTTP::Client {

/// Where one hop goes.
struct HopTarget {
    Ref<String> protocol;  ///< "http" or "https".
    Ref<String> host;
    std::uint16_t port = 0;  ///< Effective: never 0 once the hop connects.
    Ref<String> path;        ///< Path and query, later the request target.
};

/// The URLs of one exchange.
struct RedirectState {
    Ref<String> currentUrl;   ///< That of the hop; null after a redirect without a Location.
    Ref<String> previousUrl;  ///< The current one before the last redirect target was computed.
    TSet<Ref<String>> visitedUrls;  ///< Those from which a redirect was computed.
    bool wasRedirected = false;     ///< A hop had a status code from 300 to 399.
};

/// Computes the URL that a Location leads to. It may be absolute ("http://..."), a path ("/..."),
/// or relative to the current URL; only a relative one that begins with "." has its dot segments
/// resolved. One that begins with two slashes is a path, not a host.
Ref<String> redirectTarget(std::string_view location, std::string_view currentUrl,
                           const HopTarget& hop);

enum class Redirect { Stay, Follow, Failed };

/// Decides, at the end of a head with a status from 300 to 399, what becomes of the hop, and moves
/// the current URL on.
///
/// @return `Failed` with `ErrTransfer` when the target was visited before, also when it is not
///         followed.
Redirect decideRedirect(const HeaderFields& fields, const HopTarget& hop, bool follow,
                        RedirectState& state);

}  // namespace Libraries::Networks::HTTP::Client
