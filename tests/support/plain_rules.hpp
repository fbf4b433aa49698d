#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// The rules of URLs once more, in the plainest way: character by character, with no thought for
/// speed. What the library answers has to be the same, whatever the text.
namespace plain_rules {

/// What the splitter leaves in its outputs; without a value: null.
struct SplitResult {
    std::uint32_t error = 0;
    std::optional<std::string> protocol;
    std::optional<std::string> host;
    std::uint32_t port = 0;
    std::optional<std::string> path;

    friend bool operator==(const SplitResult&, const SplitResult&) = default;
};

/// Splits a URL. @param keepPort  As the flag `KeepPortInHost`. @param keepPath  Likewise.
SplitResult split(const std::string& url, bool keepPort, bool keepPath);

/// What the library answers to the same question, in the same form.
SplitResult splitByLibrary(const std::string& url, bool keepPort, bool keepPath);

/// Where a hop goes.
struct Hop {
    std::string protocol;
    std::string host;
    std::uint16_t port = 0;
};

/// Answers the URL that a Location leads to.
std::string redirectTarget(const std::string& location, const std::string& current, const Hop& hop);

/// The URLs of an exchange that is redirected again and again.
class Chain {
public:
    enum class Step { NoLocation, Cycle, Moved };

    explicit Chain(std::string first) : current_(std::move(first)) {}
    Step take(const std::string& location, const Hop& hop);
    /// Answers the current URL, nothing after a redirect without a Location.
    [[nodiscard]] const std::optional<std::string>& current() const noexcept { return current_; }

private:
    std::optional<std::string> current_;
    std::set<std::string> visited_;
};

/// Takes the escapes out of a text, character by character. @return Nothing where the rules leave the
/// result open: when other text comes before the last byte of an escaped character.
std::optional<std::u32string> decode(const std::u32string& text);

/// What the library answers to the same question. @param text  Its octets.
std::u32string decodeByLibrary(const std::string& text);

/// Answers the characters of a text in UTF-8, which may have seven octets; what is none stands for
/// itself, octet by octet.
std::u32string charactersOf(const std::string& text);

/// Makes texts of the pieces from which URLs are made, always the same ones in the same order.
class Texts {
public:
    explicit Texts(std::vector<std::string> pieces) : pieces_(std::move(pieces)) {}
    /// Answers a text of at most `most` pieces.
    std::string next(std::size_t most);
    /// Answers a number below the limit.
    std::uint32_t below(std::uint32_t limit);

private:
    std::vector<std::string> pieces_;
    std::minstd_rand generator_;  // its numbers are the same everywhere
};

}  // namespace plain_rules
