// Where a redirect leads, and whether it is followed.

#include "net/http/engine/redirect.hpp"

#include <algorithm>

#include "platform/runtime/string_util.hpp"

#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Client {

using Utils::Channel;
using Utils::Level;
using Utils::LogRecord;

namespace {

/// The directories of a path, one view each.
using Segments = HeapVector<std::string_view>;

template <class Take>
void forEachSegment(std::string_view text, Take take) {
    for (;;) {
        const std::size_t end = text.find('/');
        take(text.substr(0, end));
        if (end == std::string_view::npos) {
            return;
        }
        text.remove_prefix(end + 1);
    }
}

/// Answers whether "://" comes before any other "/".
bool isAbsolute(std::string_view location) noexcept {
    const std::size_t separator = location.find("://");
    return separator != std::string_view::npos && location.find('/') == separator + 1;
}

/// Answers where the authority of a URL ends, or npos when no "/" follows it.
std::size_t findAuthorityEnd(std::string_view url) noexcept {
    const std::size_t separator = url.find("://");
    return separator != std::string_view::npos ? url.find('/', separator + 3) : separator;
}

/// Resolves a Location that begins with "." against the current URL without its last segment.
Ref<String> resolveDots(std::string_view location, std::string_view base) {
    std::string_view origin = base;
    Segments directories;
    const std::size_t authorityEnd = findAuthorityEnd(base);
    if (authorityEnd != std::string_view::npos) {
        origin = base.substr(0, authorityEnd);
        const std::string_view behind = base.substr(authorityEnd + 1);
        forEachSegment(behind.substr(0, behind.find_first_of("?#")),
                       [&](std::string_view segment) { directories.push_back(segment); });
    }
    const std::size_t tailStart = std::min(location.find_first_of("?#"), location.size());
    forEachSegment(location.substr(0, tailStart), [&](std::string_view segment) {
        if (segment == "..") {
            if (!directories.empty()) {
                directories.pop_back();
            }
        } else if (segment != ".") {
            directories.push_back(segment);
        }
    });

    HeapText url(origin);
    url.push_back('/');
    for (std::size_t i = 0; i < directories.size(); ++i) {
        if (i != 0) {
            url.push_back('/');
        }
        url.append(directories[i]);
    }
    url.append(location.substr(tailStart));
    return String::create(url);
}

}  // namespace

Ref<String> redirectTarget(std::string_view location, std::string_view currentUrl,
                           const HopTarget& hop) {
    if (location.starts_with('/')) {
        const Ref<String> port = StrConv::str(hop.port);
        return String::concat(
            {hop.protocol->view(), "://", hop.host->view(), ":", port->view(), location});
    }
    if (isAbsolute(location)) {
        return String::create(location);
    }
    const std::size_t lastSlash = currentUrl.rfind('/');
    const bool hasSlash = lastSlash != std::string_view::npos;
    if (!location.starts_with('.')) {
        return String::concat({currentUrl.substr(0, hasSlash ? lastSlash + 1 : 0), location});
    }
    return resolveDots(location, currentUrl.substr(0, hasSlash ? lastSlash : 0));
}

Redirect decideRedirect(const HeaderFields& fields, const HopTarget& hop, bool follow,
                        RedirectState& state) {
    state.wasRedirected = true;
    const auto location = fields.find(std::string_view("Location"));
    if (location == fields.end() || !location->second || location->second->empty()) {
        if (LogRecord record{Channel::HttpClient, Level::Trace}) {
            record << "No new location provided";
        }
        state.currentUrl.reset();
        return Redirect::Stay;
    }
    state.visitedUrls.insert(state.currentUrl);
    state.previousUrl = state.currentUrl;
    state.currentUrl = redirectTarget(location->second->view(), state.previousUrl->view(), hop);
    if (state.visitedUrls.contains(state.currentUrl)) {
        if (LogRecord record{Channel::HttpClient, Level::Failure}) {
            record << "Cycle detected when redirecting to URL " << state.currentUrl;
        }
        Error::set(ErrTransfer);
        return Redirect::Failed;
    }
    if (!follow) {
        return Redirect::Stay;
    }
    if (LogRecord record{Channel::HttpClient, Level::Trace}) {
        record << "Implicit redirect to URL: " << state.currentUrl;
    }
    return Redirect::Follow;
}

}  // namespace Libraries::Networks::HTTP::Client
