#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

namespace cli {

/// How fast a transfer goes: over all of its time, and over the last few seconds of it.
class Pace {
public:
    using Clock = std::chrono::steady_clock;

    /// A transfer begins.
    void begin(Clock::time_point now);
    /// Takes how far it has come.
    ///
    /// @param fraction  0 when the total is unknown.
    void add(Clock::time_point now, double fraction, std::uint64_t bytes);

    /// Answers bytes per second: lately, and on the whole. None before there is anything to measure.
    [[nodiscard]] std::optional<double> recentRate() const;
    [[nodiscard]] std::optional<double> meanRate() const;
    /// Answers the time that the rest takes at the recent pace; none when that cannot be told.
    [[nodiscard]] std::optional<std::chrono::seconds> timeLeft() const;
    [[nodiscard]] std::chrono::duration<double> elapsed() const;

private:
    struct Sample {
        Clock::time_point time;
        double fraction = 0;
        std::uint64_t bytes = 0;
    };

    [[nodiscard]] static std::optional<double> rateBetween(const Sample& first, const Sample& last);

    Sample start_;
    std::deque<Sample> recent_;  ///< The last few seconds; never empty once begun.
};

}  // namespace cli
