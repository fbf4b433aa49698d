// Rates from samples.

#include "pace.hpp"

#include <cmath>

namespace cli {

namespace {

constexpr std::chrono::seconds window(3);
constexpr std::chrono::milliseconds betweenSamples(50);
constexpr std::chrono::duration<double> shortestMeasure(0.001);

double secondsBetween(Pace::Clock::time_point first, Pace::Clock::time_point last) {
    return std::chrono::duration<double>(last - first).count();
}

}  // namespace

void Pace::begin(Clock::time_point now) {
    start_ = {now, 0, 0};
    recent_.assign(1, start_);
}

void Pace::add(Clock::time_point now, double fraction, std::uint64_t bytes) {
    const bool replaces =
        recent_.size() > 1 && now - recent_[recent_.size() - 2].time < betweenSamples;
    if (replaces) {
        recent_.pop_back();
    }
    recent_.push_back({now, fraction, bytes});
    // The oldest is the last one from before the window.
    while (recent_.size() > 2 && now - recent_[1].time >= window) {
        recent_.pop_front();
    }
}

std::optional<double> Pace::rateBetween(const Sample& first, const Sample& last) {
    const double seconds = secondsBetween(first.time, last.time);
    if (seconds < shortestMeasure.count() || last.bytes <= first.bytes) {
        return std::nullopt;
    }
    return static_cast<double>(last.bytes - first.bytes) / seconds;
}

std::optional<double> Pace::recentRate() const {
    return recent_.empty() ? std::nullopt : rateBetween(recent_.front(), recent_.back());
}

std::optional<double> Pace::meanRate() const {
    return recent_.empty() ? std::nullopt : rateBetween(start_, recent_.back());
}

std::optional<std::chrono::seconds> Pace::timeLeft() const {
    if (recent_.empty()) {
        return std::nullopt;
    }
    const double seconds = secondsBetween(recent_.front().time, recent_.back().time);
    const double done = recent_.back().fraction - recent_.front().fraction;
    constexpr double longest = 100.0 * 3600;  // more is no estimate
    const double left = (1 - recent_.back().fraction) * seconds / done;
    if (seconds < shortestMeasure.count() || done <= 0 || left >= longest) {
        return std::nullopt;
    }
    return std::chrono::seconds(std::lround(left));
}

std::chrono::duration<double> Pace::elapsed() const {
    return recent_.empty() ? std::chrono::duration<double>(0)
                           : std::chrono::duration<double>(recent_.back().time - start_.time);
}

}  // namespace cli
