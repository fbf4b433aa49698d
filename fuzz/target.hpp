#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

/// Run on every input; ends the program when a property does not hold.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Ends the program when a property does not hold.
inline void require(bool holds, const char* property) {
    if (!holds) {
        (void)std::fprintf(stderr, "does not hold: %s\n", property);
        std::abort();
    }
}

/// An input, taken apart from its start on. What it does not hold reads as nothing.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : rest_(reinterpret_cast<const char*>(data), size) {}

    /// Takes one octet. The digit "0" is none of eight switches, so that seeds can be read.
    std::uint8_t switches() { return static_cast<std::uint8_t>(octet() ^ '0'); }
    std::uint8_t octet() {
        const std::string_view taken = take(1);
        return taken.empty() ? std::uint8_t{'0'} : static_cast<std::uint8_t>(taken[0]);
    }
    std::string_view take(std::size_t count) {
        const std::string_view taken = rest_.substr(0, std::min(count, rest_.size()));
        rest_.remove_prefix(taken.size());
        return taken;
    }
    /// Takes the text up to a mark, and the mark, or all that is left.
    std::string_view until(std::string_view mark) {
        const std::string_view taken = take(std::min(rest_.find(mark), rest_.size()));
        (void)take(mark.size());
        return taken;
    }
    [[nodiscard]] bool empty() const noexcept { return rest_.empty(); }
    [[nodiscard]] std::string_view rest() const noexcept { return rest_; }

private:
    std::string_view rest_;
};

}  // namespace fuzz
